import QtQuick
import QtQuick.Controls

// The commands of the application, each with its shortcut.
MenuBar {
    id: bar
    font.family: Theme.fontFamily
    font.pixelSize: Theme.bodySize

    delegate: MenuBarItem {
        id: barItem
        contentItem: Text {
            text: barItem.text
            font: barItem.font
            color: Theme.text
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
        background: Rectangle {
            implicitWidth: 40
            implicitHeight: 28
            radius: 4
            color: barItem.highlighted ? Theme.hover : "transparent"
        }
    }
    background: Rectangle {
        color: Theme.sidebar
        implicitHeight: 30
        Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: Theme.separator }
    }

    Menu {
        title: "Larder"
        Action { objectName: "aboutCommand"; text: "About Juniper Larder"; onTriggered: shell.showAbout() }
        Action { objectName: "settingsCommand"; text: "Settings…"; shortcut: "Ctrl+,"; onTriggered: shell.showSettings("general") }
        MenuSeparator {}
        Action { text: "Quit Juniper Larder"; shortcut: "Ctrl+Q"; onTriggered: Qt.quit() }
    }
    Menu {
        title: "Go"
        Action { objectName: "searchCommand"; text: "Search"; shortcut: "Ctrl+F"; onTriggered: app.showSearch() }
        Action { text: "Ask Larder"; shortcut: "Ctrl+K"; onTriggered: app.selection = "ask" }
        Action { text: "Downloaded From"; shortcut: "Ctrl+Shift+J"; onTriggered: app.selection = "sources" }
        Action { text: "Duplicates"; shortcut: "Ctrl+Shift+D"; onTriggered: app.selection = "duplicates" }
        Action { text: "Clean Up"; shortcut: "Ctrl+Shift+K"; onTriggered: app.selection = "cleanup" }
    }
    Menu {
        title: "Meetings"
        Action { objectName: "newMeetingCommand"; text: "New Meeting"; shortcut: "Ctrl+Shift+N"; onTriggered: app.newMeeting() }
        Action {
            objectName: "recordCommand"
            text: app.recording ? "Stop Recording" : "Record Meeting"
            shortcut: "Ctrl+Shift+R"
            onTriggered: app.toggleRecording()
        }
    }
    Menu {
        title: "Edit"
        Action { text: "Copy Text from Image"; shortcut: "Ctrl+Shift+C"; onTriggered: app.copyInspectedText() }
    }
    Menu {
        title: "View"
        Action { text: "Grid"; shortcut: "Ctrl+1"; checkable: true; checked: app.settings.viewMode === "grid"; onTriggered: app.settings.viewMode = "grid" }
        Action { text: "List"; shortcut: "Ctrl+2"; checkable: true; checked: app.settings.viewMode === "list"; onTriggered: app.settings.viewMode = "list" }
        MenuSeparator {}
        Action { text: app.showInspector ? "Hide Inspector" : "Show Inspector"; shortcut: "Ctrl+I"; onTriggered: app.toggleInspector() }
    }
}
