import QtQuick
import QtQuick.Controls

MenuItem {
    id: item
    implicitHeight: 28
    font.family: Theme.fontFamily
    font.pixelSize: Theme.bodySize
    contentItem: Text {
        leftPadding: 6
        text: item.text
        font: item.font
        color: item.enabled ? (item.highlighted ? Theme.accentText : Theme.text) : Theme.tertiaryText
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        implicitWidth: 200
        radius: 4
        color: item.highlighted ? Theme.accent : "transparent"
    }
}
