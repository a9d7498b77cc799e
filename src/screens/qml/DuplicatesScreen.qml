import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Identical files and similar photos: the scan with its progress, a card for
// each group with the copy that stays marked, what moving the rest frees,
// and one question before anything goes to the Trash.
Item {
    id: screen
    objectName: "duplicatesScreen"
    readonly property bool scanning: duplicates.scanning
    readonly property bool scanned: duplicates.scanned
    readonly property var groups: duplicates.groups
    readonly property int removalCount: duplicates.removalCount
    // "never", "scanning", "empty" or "groups", for the window test.
    readonly property string phase: groups.length > 0 ? "groups"
        : scanning ? "scanning" : scanned ? "empty" : "never"

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        PageHeader {
            Layout.fillWidth: true
            Layout.margins: Theme.padding
            Layout.bottomMargin: 12
            title: "Duplicates"
            subtitle: duplicates.subtitle
            symbol: "square.on.square.fill"
            tint: "#e0a100"
            StyledButton {
                objectName: "scanButton"
                text: screen.scanned ? "Scan Again" : "Scan Library"
                symbol: "arrow.clockwise"
                bordered: true
                enabled: !screen.scanning
                onClicked: duplicates.scan()
            }
        }

        // The scan's phase and how far it is.
        ColumnLayout {
            objectName: "scanProgress"
            Layout.fillWidth: true
            Layout.leftMargin: Theme.padding
            Layout.rightMargin: Theme.padding
            Layout.bottomMargin: 12
            visible: screen.scanning
            spacing: 6
            Text {
                Layout.fillWidth: true
                text: duplicates.phaseText + "  " + Math.round(duplicates.fraction * 100) + "%"
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.captionSize + 1
                elide: Text.ElideRight
            }
            Rectangle {
                Layout.fillWidth: true
                implicitHeight: 6
                radius: 3
                color: Theme.well
                Rectangle {
                    width: parent.width * Math.max(0, Math.min(1, duplicates.fraction))
                    height: parent.height
                    radius: 3
                    color: Theme.accent
                    Behavior on width { NumberAnimation { duration: 120 } }
                }
            }
        }

        // Which list is shown.
        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: Theme.padding
            Layout.rightMargin: Theme.padding
            Layout.bottomMargin: 12
            visible: screen.scanned
            spacing: 10
            Text {
                text: "Mode"
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
            }
            Rectangle {
                implicitWidth: modeRow.implicitWidth + 4
                implicitHeight: 30
                radius: Theme.smallRadius + 1
                color: Theme.well
                border.color: Theme.separator
                RowLayout {
                    id: modeRow
                    anchors.fill: parent
                    anchors.margins: 2
                    spacing: 2
                    Repeater {
                        model: [
                            {value: "identical", title: "Identical files", count: duplicates.identicalCount},
                            {value: "similar", title: "Similar photos", count: duplicates.similarCount},
                        ]
                        delegate: Rectangle {
                            required property var modelData
                            readonly property bool current: duplicates.mode === modelData.value
                            objectName: "mode:" + modelData.value
                            Layout.fillHeight: true
                            implicitWidth: modeText.implicitWidth + 24
                            radius: Theme.smallRadius
                            color: current ? Theme.surfaceRaised : modeMouse.containsMouse ? Theme.hover : "transparent"
                            border.width: current ? 1 : 0
                            border.color: Theme.separator
                            Text {
                                id: modeText
                                anchors.centerIn: parent
                                text: modelData.title + " (" + modelData.count + ")"
                                color: parent.current ? Theme.text : Theme.secondaryText
                                font.family: Theme.fontFamily
                                font.pixelSize: Theme.bodySize
                                font.weight: parent.current ? Font.DemiBold : Font.Normal
                            }
                            MouseArea {
                                id: modeMouse
                                anchors.fill: parent
                                hoverEnabled: true
                                onClicked: duplicates.mode = modelData.value
                            }
                        }
                    }
                }
            }
            Item { Layout.fillWidth: true }
        }
        Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }

        // Before the first scan, and after one that found nothing.
        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: screen.phase === "never" || screen.phase === "empty" || screen.phase === "scanning"
            EmptyStateView {
                objectName: "duplicatesEmpty"
                anchors.centerIn: parent
                width: Math.min(parent.width - 40, 480)
                symbol: screen.scanned ? "checkmark.seal" : "square.on.square"
                title: screen.scanned ? "No duplicates" : "Find duplicate files"
                message: screen.scanned ? "Nice and tidy. Nothing to clear here."
                    : "Larder compares file fingerprints to find exact copies, and looks at photos to spot bursts, edits and HEIC/JPEG pairs. Nothing is deleted without your say."
                actionTitle: screen.scanned || screen.scanning ? "" : "Scan Library"
                onAction: duplicates.scan()
            }
        }

        // The groups.
        Flickable {
            id: list
            objectName: "duplicateGroups"
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: screen.phase === "groups"
            contentHeight: groupColumn.implicitHeight + 2 * Theme.padding
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar {}
            ColumnLayout {
                id: groupColumn
                x: Theme.padding
                y: Theme.padding
                width: list.width - 2 * Theme.padding
                spacing: 12
                Repeater {
                    model: screen.groups
                    DuplicateGroupCard {
                        required property var modelData
                        required property int index
                        objectName: "duplicateGroup:" + index
                        Layout.fillWidth: true
                        group: modelData
                        onMenuRequested: (file, item, x, y) => fileMenu.show(file, item, x, y)
                    }
                }
                Text {
                    Layout.fillWidth: true
                    Layout.topMargin: 4
                    text: "The copy marked Keep in each group stays where it is. You can restore anything from the Trash."
                    color: Theme.tertiaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.captionSize + 1
                    wrapMode: Text.Wrap
                }
            }
        }

        // What moving the rest frees.
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 56
            visible: screen.phase === "groups"
            color: Theme.sidebar
            Rectangle { width: parent.width; height: 1; color: Theme.separator }
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: Theme.padding
                anchors.rightMargin: Theme.padding
                spacing: 14
                Text {
                    objectName: "duplicatesSelected"
                    text: shell.counted(screen.removalCount, "file") + " selected"
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                    font.weight: Font.DemiBold
                }
                Text {
                    Layout.fillWidth: true
                    text: "Frees " + duplicates.reclaimableText
                    color: Theme.secondaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                    elide: Text.ElideRight
                }
                StyledButton {
                    objectName: "trashDuplicates"
                    text: "Move to Trash"
                    symbol: "trash"
                    prominent: true
                    enabled: screen.removalCount > 0 && !screen.scanning
                    onClicked: {
                        trashDialog.pending = []
                        trashDialog.open()
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
        onTrashRequested: {
            trashDialog.pending = records
            trashDialog.open()
        }
    }

    ConfirmDialog {
        id: trashDialog
        objectName: "trashDuplicatesDialog"
        // Files chosen from a context menu; empty for every copy marked Trash.
        property var pending: []
        readonly property int count: pending.length > 0 ? pending.length : screen.removalCount
        title: "Move " + shell.counted(count, "file") + " to the Trash?"
        message: "The copy marked Keep in each group stays where it is. You can restore anything from the Trash."
        confirmTitle: "Move to Trash"
        onConfirmed: {
            if (pending.length > 0)
                duplicates.moveFilesToTrash(pending)
            else
                duplicates.moveToTrash()
        }
        onClosed: pending = []
    }
}
