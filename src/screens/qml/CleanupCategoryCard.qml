import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One clean-up category: what it is, how many files and bytes; opened, its
// files with checkboxes and the button that moves the checked ones.
Rectangle {
    id: card
    property var category: ({})
    readonly property string kind: category.kind || ""
    readonly property bool open: cleanupSelection.expanded === kind
    // Recomputed when a checkbox or the suggestions change.
    readonly property int chosenCount: cleanupSelection.revision >= 0 ? cleanupSelection.chosenCount(kind) : 0
    readonly property var tints: ({installers: "#8e6cef", downloads: "#1fa37a", screenshots: "#2f9be0",
                                   videos: "#e8504f", apps: "#e0a100"})
    signal trashRequested(var records, string bytesText)
    signal menuRequested(var file, Item item, real x, real y)
    objectName: "cleanupCategory:" + kind
    color: Theme.surface
    radius: Theme.radius
    border.color: Theme.separator
    implicitHeight: column.implicitHeight + 28

    component CheckMark: Icon {
        property bool checked
        property bool mixed: false
        symbol: mixed ? "minus.square.fill" : checked ? "checkmark.square.fill" : "square"
        size: 20
        color: checked || mixed ? Theme.accent : Theme.tertiaryText
    }

    ColumnLayout {
        id: column
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: 14
        spacing: 10

        RowLayout {
            Layout.fillWidth: true
            spacing: 12
            KindIcon { symbol: card.category.symbol || "doc.fill"; tint: card.tints[card.kind] || ""; size: 36 }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Text {
                    Layout.fillWidth: true
                    text: card.category.title || ""
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize + 1
                    font.weight: Font.DemiBold
                    elide: Text.ElideRight
                }
                Text {
                    Layout.fillWidth: true
                    text: card.category.detail || ""
                    color: Theme.secondaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.captionSize + 1
                    elide: Text.ElideRight
                }
            }
            ColumnLayout {
                spacing: 2
                Text {
                    Layout.alignment: Qt.AlignRight
                    text: card.category.bytesText || ""
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                    font.weight: Font.DemiBold
                }
                Text {
                    Layout.alignment: Qt.AlignRight
                    text: shell.counted(card.category.count, "item")
                    color: Theme.secondaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.captionSize + 1
                }
            }
            StyledButton {
                objectName: "expand"
                symbol: "chevron.down"
                toolTip: card.open ? "Hide the files" : "Show the files"
                rotation: card.open ? 180 : 0
                onClicked: cleanupSelection.expanded = card.open ? "" : card.kind
            }
        }

        // The files, when opened.
        ColumnLayout {
            Layout.fillWidth: true
            visible: card.open
            spacing: 0
            Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }
            RowLayout {
                Layout.fillWidth: true
                Layout.topMargin: 6
                Layout.bottomMargin: 4
                spacing: 10
                CheckMark {
                    objectName: "categoryCheck"
                    checked: card.chosenCount === card.category.count
                    mixed: card.chosenCount > 0 && card.chosenCount < card.category.count
                    MouseArea {
                        anchors.fill: parent
                        anchors.margins: -4
                        cursorShape: Qt.PointingHandCursor
                        onClicked: cleanupSelection.setCategoryChecked(card.kind, card.chosenCount === 0)
                    }
                }
                Text {
                    Layout.fillWidth: true
                    text: "All " + shell.counted(card.category.count, "item")
                    color: Theme.secondaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.captionSize + 1
                }
            }
            // The opened category's files, a page at a time as the screen
            // scrolls.
            Repeater {
                model: card.open ? cleanupSelection.files : null
                Rectangle {
                    id: row
                    required property var entry
                    required property int index
                    objectName: "cleanupFile:" + index
                    Layout.fillWidth: true
                    implicitHeight: 44
                    radius: Theme.smallRadius
                    color: rowMouse.containsMouse ? Theme.hover : "transparent"
                    RowLayout {
                        anchors.fill: parent
                        anchors.leftMargin: 0
                        anchors.rightMargin: 6
                        spacing: 10
                        CheckMark { objectName: "check"; checked: row.entry.checked }
                        Thumbnail {
                            size: 32
                            source: row.entry.thumbnail
                            symbol: row.entry.symbol
                            tint: row.entry.tint
                        }
                        ColumnLayout {
                            Layout.fillWidth: true
                            spacing: 1
                            Text {
                                Layout.fillWidth: true
                                text: row.entry.name
                                color: row.entry.checked ? Theme.text : Theme.tertiaryText
                                font.family: Theme.fontFamily
                                font.pixelSize: Theme.bodySize
                                elide: Text.ElideMiddle
                            }
                            Text {
                                Layout.fillWidth: true
                                text: row.entry.where
                                color: Theme.tertiaryText
                                font.family: Theme.fontFamily
                                font.pixelSize: Theme.captionSize
                                elide: Text.ElideMiddle
                            }
                        }
                        Text {
                            text: row.entry.sizeText
                            color: Theme.secondaryText
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.captionSize + 1
                        }
                    }
                    MouseArea {
                        id: rowMouse
                        anchors.fill: parent
                        hoverEnabled: true
                        acceptedButtons: Qt.LeftButton | Qt.RightButton
                        onClicked: (event) => {
                            if (event.button === Qt.RightButton)
                                card.menuRequested(row.entry, row, event.x, event.y)
                            else
                                cleanupSelection.setChecked(row.entry.fileID, !row.entry.checked)
                        }
                    }
                }
            }
            RowLayout {
                Layout.fillWidth: true
                Layout.topMargin: 8
                spacing: 12
                Text {
                    objectName: "cleanupSelected"
                    Layout.fillWidth: true
                    text: shell.counted(card.chosenCount, "item") + " selected"
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                    font.weight: Font.DemiBold
                }
                StyledButton {
                    objectName: "trashCategory"
                    text: "Move to Trash"
                    symbol: "trash"
                    prominent: true
                    enabled: card.chosenCount > 0
                    onClicked: card.trashRequested(cleanupSelection.chosenRecords(card.kind),
                                                   cleanupSelection.chosenBytesText(card.kind))
                }
            }
        }
    }
}
