import QtQuick
import QtQuick.Layouts

// One file in a list of results: thumbnail, name, the matched words of its
// snippet in bold, and Claude's reason when there is one. A row of a list of
// search hits, whose roles it takes by name: a reused row only takes new
// values, and every binding below reads one of them.
Rectangle {
    id: row
    required property string name
    required property string thumbnail
    required property string symbol
    required property string tint
    required property string sizeText
    // Rich text: the matched words already in bold.
    required property string snippet
    required property string reason
    property bool isSelected: false
    signal pressed(int modifiers)
    signal activated()
    signal menuRequested(real x, real y)
    implicitHeight: 62
    radius: Theme.smallRadius
    color: isSelected ? Theme.selection : mouse.containsMouse ? Theme.hover : "transparent"

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 10
        anchors.rightMargin: 10
        spacing: 12
        Thumbnail {
            size: 42
            source: row.thumbnail
            symbol: row.symbol
            tint: row.tint
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            Text {
                Layout.fillWidth: true
                text: row.name
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
                font.weight: Font.Medium
                elide: Text.ElideMiddle
            }
            Text {
                Layout.fillWidth: true
                visible: row.snippet.length > 0
                text: row.snippet
                textFormat: Text.StyledText
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.captionSize + 1
                elide: Text.ElideRight
            }
            Text {
                Layout.fillWidth: true
                visible: row.reason.length > 0
                text: row.reason
                color: Theme.tertiaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.captionSize
                font.italic: true
                elide: Text.ElideRight
            }
        }
        Text {
            text: row.sizeText
            color: Theme.tertiaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.captionSize
        }
    }
    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        onPressed: (event) => {
            if (event.button === Qt.RightButton) {
                if (!row.isSelected)
                    row.pressed(0)
                row.menuRequested(event.x, event.y)
            } else {
                row.pressed(event.modifiers)
            }
        }
        onDoubleClicked: row.activated()
    }
}
