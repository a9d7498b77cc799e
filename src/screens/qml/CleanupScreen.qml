import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Things the user might no longer need, by category: each opens to its
// files with a checkbox, and the chosen ones go to the Trash after one
// question. The suggestions are computed again when the screen appears.
Item {
    id: screen
    objectName: "cleanupScreen"
    readonly property var categories: library.cleanup
    readonly property bool indexing: app.indexing.statusText.startsWith("Scanning") || app.indexing.statusText.startsWith("Reading")

    Component.onCompleted: library.refreshCleanup()

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        PageHeader {
            Layout.fillWidth: true
            Layout.margins: Theme.padding
            Layout.bottomMargin: 12
            title: "Clean Up"
            subtitle: library.reclaimableBytes > 0 ? library.reclaimableText + " you could probably free"
                                                   : "Nothing obvious to remove."
            symbol: "wand.and.sparkles"
            tint: "#c04fd8"
            StyledButton {
                objectName: "refreshCleanup"
                text: "Refresh"
                symbol: "arrow.clockwise"
                bordered: true
                onClicked: library.refreshCleanup()
            }
        }
        Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: screen.categories.length === 0
            EmptyStateView {
                objectName: "cleanupEmpty"
                anchors.centerIn: parent
                width: Math.min(parent.width - 40, 480)
                symbol: "sparkles"
                title: "All tidy"
                message: screen.indexing ? "Larder is still scanning; suggestions will appear when it's done."
                                         : "No old installers, forgotten downloads or unused apps found."
            }
        }

        Flickable {
            id: list
            objectName: "cleanupCategories"
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: screen.categories.length > 0
            contentHeight: column.implicitHeight + 2 * Theme.padding
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar {}
            // The opened category shows its next page before the end of
            // those shown comes into view.
            onContentYChanged: {
                const files = cleanupSelection.files
                if (contentY + height > contentHeight - 2 * height && files.canFetchMore(files.index(-1, -1)))
                    files.fetchMore(files.index(-1, -1))
            }
            ColumnLayout {
                id: column
                x: Theme.padding
                y: Theme.padding
                width: list.width - 2 * Theme.padding
                spacing: 12
                Text {
                    Layout.fillWidth: true
                    text: "Suggestions are based on file age and when you last opened things. Everything goes to the Trash, so you can change your mind."
                    color: Theme.secondaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                    wrapMode: Text.Wrap
                }
                Repeater {
                    model: screen.categories
                    CleanupCategoryCard {
                        required property var modelData
                        Layout.fillWidth: true
                        category: modelData
                        onTrashRequested: (records, bytesText) => trashDialog.ask(records, bytesText)
                        onMenuRequested: (file, item, x, y) => fileMenu.show(file, item, x, y)
                    }
                }
            }
        }
    }

    FileContextMenu {
        id: fileMenu
        function show(file, item, x, y) {
            records = [file.record]
            among = [file.record]
            popup(item, x, y)
        }
        onTrashRequested: trashDialog.ask(records, shell.fileItem(records[0]).sizeText)
    }

    ConfirmDialog {
        id: trashDialog
        objectName: "trashCleanupDialog"
        // The files waiting for the answer.
        property var pending: []
        property string bytesText
        readonly property int count: pending.length
        function ask(records, bytes) {
            if (records.length === 0)
                return
            pending = records
            bytesText = bytes
            open()
        }
        title: "Move " + shell.counted(count, "item") + " to the Trash?"
        message: bytesText + " will be freed when you empty the Trash."
        confirmTitle: "Move to Trash"
        onConfirmed: {
            app.trashFiles(pending)
            pending = []
            library.refreshCleanup()
        }
    }
}
