import QtQuick

// An example request that can be pressed.
Rectangle {
    id: chip
    property string text
    signal action()
    implicitWidth: label.implicitWidth + 26
    implicitHeight: 30
    radius: height / 2
    color: mouse.containsMouse ? Theme.hover : Theme.surface
    border.color: Theme.separator
    Text {
        id: label
        anchors.centerIn: parent
        text: chip.text
        color: Theme.secondaryText
        font.family: Theme.fontFamily
        font.pixelSize: Theme.captionSize + 1
    }
    MouseArea { id: mouse; anchors.fill: parent; hoverEnabled: true; cursorShape: Qt.PointingHandCursor; onClicked: chip.action() }
}
