import QtQuick

// A rounded container on the window's background.
Rectangle {
    id: card
    property real padding: 16
    default property alias content: holder.data
    color: Theme.surface
    radius: Theme.radius
    border.color: Theme.separator
    border.width: 1
    implicitWidth: holder.childrenRect.width + 2 * padding
    implicitHeight: holder.childrenRect.height + 2 * padding
    Item {
        id: holder
        anchors.fill: parent
        anchors.margins: card.padding
    }
}
