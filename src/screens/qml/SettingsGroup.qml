import QtQuick
import QtQuick.Layouts

// A titled group of settings on a card, with an optional caption under it.
ColumnLayout {
    id: group
    property string title
    property string caption
    default property alias content: body.data
    spacing: 6

    Text {
        visible: group.title.length > 0
        text: group.title
        color: Theme.secondaryText
        font.family: Theme.fontFamily
        font.pixelSize: Theme.captionSize + 1
        font.weight: Font.DemiBold
        Layout.leftMargin: 4
    }
    Rectangle {
        Layout.fillWidth: true
        implicitHeight: body.implicitHeight + 28
        color: Theme.surface
        radius: Theme.radius
        border.color: Theme.separator
        ColumnLayout {
            id: body
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.top: parent.top
            anchors.margins: 14
            spacing: 12
        }
    }
    Text {
        visible: group.caption.length > 0
        text: group.caption
        color: Theme.secondaryText
        font.family: Theme.fontFamily
        font.pixelSize: Theme.captionSize + 1
        wrapMode: Text.Wrap
        lineHeight: 1.15
        Layout.fillWidth: true
        Layout.leftMargin: 4
        Layout.rightMargin: 4
    }
}
