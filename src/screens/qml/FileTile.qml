import QtQuick

// One file in a grid: its thumbnail, name and size. A press selects it,
// Ctrl adds to the selection, a double press previews it, and the context
// menu holds the file commands.
Item {
    id: tile
    property var file: ({})
    property real size: 128
    property bool isSelected: false
    signal pressed(int modifiers)
    signal activated()
    signal menuRequested(real x, real y)
    implicitWidth: size + 24
    implicitHeight: size + 62

    Rectangle {
        anchors.fill: parent
        radius: Theme.radius
        color: tile.isSelected ? Theme.selection : mouse.containsMouse ? Theme.hover : "transparent"
        border.width: tile.isSelected ? 1.5 : 0
        border.color: Theme.accent
    }
    // Placed by anchors rather than a layout: a grid of thousands of
    // files creates these as fast as it scrolls.
    Thumbnail {
        id: thumbnail
        anchors.horizontalCenter: parent.horizontalCenter
        y: 10
        size: tile.size
        source: tile.file.thumbnail || ""
        symbol: tile.file.symbol || "doc.fill"
        tint: tile.file.tint || ""
    }
    Text {
        id: nameText
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: 10
        anchors.top: thumbnail.bottom
        anchors.topMargin: 6
        text: tile.file.name || ""
        color: Theme.text
        font.family: Theme.fontFamily
        font.pixelSize: Theme.captionSize + 1
        horizontalAlignment: Text.AlignHCenter
        elide: Text.ElideMiddle
        maximumLineCount: 1
    }
    Text {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: 10
        anchors.top: nameText.bottom
        anchors.topMargin: 2
        text: tile.file.sizeText || ""
        color: Theme.tertiaryText
        font.family: Theme.fontFamily
        font.pixelSize: Theme.captionSize
        horizontalAlignment: Text.AlignHCenter
    }
    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        onPressed: (event) => {
            if (event.button === Qt.RightButton) {
                if (!tile.isSelected)
                    tile.pressed(0)
                tile.menuRequested(event.x, event.y)
            } else {
                tile.pressed(event.modifiers)
            }
        }
        onDoubleClicked: tile.activated()
    }
}
