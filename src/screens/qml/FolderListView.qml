import QtQuick
import QtQuick.Controls
import QtQuick.Dialogs
import QtQuick.Layouts

// The library's folders, one selectable row each with how many files it
// holds, and the buttons that add a folder through the desktop's folder
// dialog and remove the selected one.
ColumnLayout {
    id: view
    property string selectedPath
    // The most rows shown before the list scrolls.
    property int visibleRows: 6
    default property alias trailing: buttons.data
    spacing: 10

    ListView {
        id: list
        objectName: "folderList"
        Layout.fillWidth: true
        Layout.preferredHeight: Math.max(1, Math.min(count, view.visibleRows)) * 44
        clip: true
        interactive: count > view.visibleRows
        model: shell.folders.folders
        ScrollBar.vertical: ScrollBar { policy: list.count > view.visibleRows ? ScrollBar.AsNeeded : ScrollBar.AlwaysOff }
        delegate: Rectangle {
            required property var modelData
            required property int index
            objectName: "folder:" + modelData.path
            width: ListView.view.width
            height: 44
            radius: Theme.smallRadius
            color: modelData.path === view.selectedPath ? Theme.selection : rowMouse.containsMouse ? Theme.hover : "transparent"
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 8
                anchors.rightMargin: 10
                spacing: 10
                Icon { symbol: "folder.fill"; size: 22; color: "#3d8bf2" }
                ColumnLayout {
                    spacing: 0
                    Layout.fillWidth: true
                    Text {
                        text: modelData.name
                        color: Theme.text
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.bodySize
                        elide: Text.ElideRight
                        Layout.fillWidth: true
                    }
                    Text {
                        text: modelData.path
                        color: Theme.secondaryText
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.captionSize
                        elide: Text.ElideMiddle
                        Layout.fillWidth: true
                    }
                }
                Text {
                    objectName: "folderCount"
                    text: modelData.countText
                    color: modelData.countText === "Not found" ? Theme.danger : Theme.secondaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.captionSize + 1
                }
            }
            MouseArea {
                id: rowMouse
                anchors.fill: parent
                hoverEnabled: true
                onClicked: view.selectedPath = modelData.path
            }
        }
        Text {
            anchors.centerIn: parent
            visible: list.count === 0
            text: "No folders yet. Add one to build your library."
            color: Theme.secondaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
        }
    }

    RowLayout {
        id: buttons
        spacing: 6
        Layout.fillWidth: true
        StyledButton {
            objectName: "addFolder"
            text: "Add Folder…"
            symbol: "plus"
            bordered: true
            onClicked: dialog.open()
        }
        StyledButton {
            objectName: "removeFolder"
            text: "Remove"
            symbol: "minus"
            bordered: true
            enabled: view.selectedPath.length > 0
            onClicked: {
                shell.folders.remove(view.selectedPath)
                view.selectedPath = ""
            }
        }
        Item { Layout.fillWidth: true }
    }

    FolderDialog {
        id: dialog
        title: "Add a Folder to Larder"
        onAccepted: shell.folders.add(selectedFolder)
    }
}
