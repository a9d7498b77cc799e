import QtQuick
import QtQuick.Layouts

// Two or more choices side by side, one of them current: [{value, symbol, help}].
Rectangle {
    id: root
    property var options: []
    property string current
    signal chosen(string value)
    implicitWidth: row.implicitWidth + 4
    implicitHeight: 30
    radius: Theme.smallRadius + 1
    color: Theme.well
    border.color: Theme.separator
    RowLayout {
        id: row
        anchors.fill: parent
        anchors.margins: 2
        spacing: 2
        Repeater {
            model: root.options
            delegate: Rectangle {
                required property var modelData
                Layout.fillHeight: true
                implicitWidth: 34
                radius: Theme.smallRadius
                color: modelData.value === root.current ? Theme.surfaceRaised : segmentMouse.containsMouse ? Theme.hover : "transparent"
                border.width: modelData.value === root.current ? 1 : 0
                border.color: Theme.separator
                Icon {
                    anchors.centerIn: parent
                    symbol: modelData.symbol
                    size: 17
                    color: modelData.value === root.current ? Theme.accent : Theme.secondaryText
                }
                MouseArea {
                    id: segmentMouse
                    anchors.fill: parent
                    hoverEnabled: true
                    onClicked: root.chosen(modelData.value)
                }
            }
        }
    }
}
