import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One group of copies: how many and what they free, each copy as a tile
// marked Keep or Trash, a click on a Trash copy keeps it instead, and the
// group can be set aside so that none of it moves.
Rectangle {
    id: card
    property var group: ({})
    readonly property bool skipped: group.skipped === true
    signal menuRequested(var file, Item item, real x, real y)
    color: Theme.surface
    radius: Theme.radius
    border.color: Theme.separator
    implicitHeight: column.implicitHeight + 28

    ColumnLayout {
        id: column
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: 14
        spacing: 10

        RowLayout {
            Layout.fillWidth: true
            spacing: 10
            Text {
                text: card.group.heading || ""
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize + 1
                font.weight: Font.DemiBold
            }
            Text {
                Layout.fillWidth: true
                text: card.skipped ? "Skipped" : card.group.reclaimableText || ""
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
                elide: Text.ElideRight
            }
            StyledButton {
                objectName: "skipGroup"
                text: card.skipped ? "Include" : "Skip"
                bordered: true
                toolTip: card.skipped ? "Move this group's extra copies too" : "Leave every copy in this group where it is"
                onClicked: duplicates.setSkipped(card.group.identity, !card.skipped)
            }
        }

        Flow {
            Layout.fillWidth: true
            spacing: 10
            opacity: card.skipped ? 0.5 : 1
            Repeater {
                model: card.group.files || []
                Rectangle {
                    id: tile
                    required property var modelData
                    required property int index
                    readonly property bool keep: modelData.keep
                    objectName: "member:" + index
                    width: 184
                    height: 196
                    radius: Theme.radius
                    color: tileMouse.containsMouse && !keep ? Theme.hover : Theme.well
                    border.width: keep && !card.skipped ? 1.5 : 1
                    border.color: keep && !card.skipped ? "#1fa37a" : Theme.separator

                    Thumbnail {
                        id: thumb
                        anchors.horizontalCenter: parent.horizontalCenter
                        y: 10
                        size: 104
                        source: tile.modelData.thumbnail
                        symbol: tile.modelData.symbol
                        tint: tile.modelData.tint
                    }
                    Rectangle {
                        objectName: "badge"
                        anchors.top: parent.top
                        anchors.right: parent.right
                        anchors.margins: 8
                        visible: !card.skipped
                        width: badgeText.implicitWidth + 14
                        height: 20
                        radius: 10
                        color: tile.keep ? "#1fa37a" : Theme.danger
                        Text {
                            id: badgeText
                            anchors.centerIn: parent
                            text: tile.keep ? "Keep" : "Trash"
                            color: "#ffffff"
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.captionSize
                            font.weight: Font.DemiBold
                        }
                    }
                    Column {
                        anchors.left: parent.left
                        anchors.right: parent.right
                        anchors.top: thumb.bottom
                        anchors.margins: 10
                        anchors.topMargin: 8
                        spacing: 2
                        Text {
                            width: parent.width
                            text: tile.modelData.name
                            color: Theme.text
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.captionSize + 1
                            font.weight: Font.DemiBold
                            horizontalAlignment: Text.AlignHCenter
                            elide: Text.ElideMiddle
                        }
                        Text {
                            width: parent.width
                            text: tile.modelData.where
                            color: Theme.secondaryText
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.captionSize
                            horizontalAlignment: Text.AlignHCenter
                            elide: Text.ElideMiddle
                        }
                        Text {
                            width: parent.width
                            text: tile.modelData.sizeText
                            color: Theme.tertiaryText
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.captionSize
                            horizontalAlignment: Text.AlignHCenter
                        }
                    }
                    MouseArea {
                        id: tileMouse
                        anchors.fill: parent
                        hoverEnabled: true
                        acceptedButtons: Qt.LeftButton | Qt.RightButton
                        cursorShape: tile.keep ? Qt.ArrowCursor : Qt.PointingHandCursor
                        onClicked: (event) => {
                            if (event.button === Qt.RightButton)
                                card.menuRequested(tile.modelData, tile, event.x, event.y)
                            else if (!tile.keep)
                                duplicates.keep(card.group.identity, tile.modelData.fileID)
                        }
                    }
                    ToolTip.visible: tileMouse.containsMouse && !tile.keep
                    ToolTip.text: "Click to keep this copy"
                    ToolTip.delay: 600
                }
            }
        }
    }
}
