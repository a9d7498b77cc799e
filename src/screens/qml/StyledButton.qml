import QtQuick
import QtQuick.Controls

// The window's button: flat until hovered, filled with the accent when
// prominent, with an optional symbol before the text.
Button {
    id: control
    property string symbol
    property bool prominent: false
    property bool destructive: false
    property string toolTip
    implicitHeight: 30
    leftPadding: text.length > 0 ? 12 : 7
    rightPadding: text.length > 0 ? 12 : 7
    font.family: Theme.fontFamily
    font.pixelSize: Theme.bodySize
    hoverEnabled: true
    focusPolicy: Qt.TabFocus

    ToolTip.visible: toolTip.length > 0 && hovered
    ToolTip.text: toolTip
    ToolTip.delay: 600

    readonly property color foreground: prominent ? Theme.accentText
                                      : destructive ? Theme.danger
                                      : checked ? Theme.accent : Theme.text

    contentItem: Row {
        spacing: 6
        Icon {
            visible: control.symbol.length > 0
            symbol: control.symbol
            size: 17
            color: control.foreground
            anchors.verticalCenter: parent.verticalCenter
        }
        Text {
            visible: control.text.length > 0
            text: control.text
            font: control.font
            color: control.foreground
            anchors.verticalCenter: parent.verticalCenter
        }
    }
    background: Rectangle {
        radius: Theme.smallRadius + 1
        color: control.prominent ? (control.down ? Qt.darker(Theme.accent, 1.15) : control.hovered ? Qt.lighter(Theme.accent, 1.08) : Theme.accent)
             : control.checked ? Theme.selection
             : control.down ? Qt.darker(Theme.well, 1.06)
             : control.hovered ? Theme.hover : "transparent"
        border.width: control.prominent || control.checked || !control.bordered ? 0 : 1
        border.color: Theme.separator
        opacity: control.enabled ? 1 : 0.45
    }
    property bool bordered: false
}
