import QtQuick
import QtQuick.Controls

// What can be done with the chosen files from any list.
Menu {
    id: menu
    // QVariants holding the files, and the list the preview steps through.
    property var records: []
    property var among: []
    signal trashRequested()

    StyledMenuItem { text: "Open"; onTriggered: app.openFiles(menu.records) }
    StyledMenuItem { text: "Preview"; enabled: menu.records.length > 0; onTriggered: app.previewFile(menu.records[0], menu.among) }
    StyledMenuItem { text: "Show in Files"; onTriggered: app.revealFiles(menu.records) }
    MenuSeparator {}
    StyledMenuItem { text: "Copy"; onTriggered: app.copyFilesOf(menu.records) }
    StyledMenuItem { text: "Copy Path"; onTriggered: app.copyPathsOf(menu.records) }
    StyledMenuItem { text: "Copy Text"; enabled: menu.records.length === 1; onTriggered: app.copyTextOf(menu.records[0]) }
    MenuSeparator {}
    StyledMenuItem { text: "Move to Trash…"; onTriggered: menu.trashRequested() }
}
