import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The meetings, newest first under the heading of their day, with the
// buttons for a new meeting and for recording.
ColumnLayout {
    id: list
    spacing: 0
    // Recomputed with the list, and each minute so that "Today" turns into
    // "Yesterday" at midnight.
    property int tick: 0
    readonly property var rows: { list.tick; return meetingItems.rows(app.meetings.meetings) }
    Timer { interval: 60000; running: true; repeat: true; onTriggered: list.tick++ }

    RowLayout {
        Layout.fillWidth: true
        Layout.margins: 14
        Layout.bottomMargin: 4
        spacing: 4
        Text {
            Layout.fillWidth: true
            text: "Meetings"
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.headingSize + 2
            font.weight: Font.DemiBold
            elide: Text.ElideRight
        }
        StyledButton {
            objectName: "newMeetingButton"
            symbol: "square.and.pencil"
            toolTip: "New meeting notes"
            onClicked: app.newMeeting()
        }
    }
    StyledButton {
        objectName: "listRecordButton"
        Layout.fillWidth: true
        Layout.leftMargin: 14
        Layout.rightMargin: 14
        Layout.bottomMargin: 10
        bordered: true
        symbol: app.recording ? "stop.fill" : "record.circle"
        text: app.recording ? "Stop Recording" : "Record Meeting"
        onClicked: app.toggleRecording()
    }
    Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }

    ListView {
        id: view
        objectName: "meetingList"
        Layout.fillWidth: true
        Layout.fillHeight: true
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        model: list.rows
        ScrollBar.vertical: ScrollBar {}
        delegate: Column {
            id: entry
            required property var modelData
            readonly property bool selected: modelData.id === app.meetings.selectedID
            readonly property bool recording: app.recording && app.recorder.meetingID === modelData.id
            width: view.width
            Text {
                visible: entry.modelData.header.length > 0
                width: parent.width
                leftPadding: 16
                topPadding: 14
                bottomPadding: 4
                text: entry.modelData.header
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.captionSize
                font.weight: Font.DemiBold
                elide: Text.ElideRight
            }
            Rectangle {
                objectName: "meetingRow:" + entry.modelData.id
                x: 8
                width: parent.width - 16
                height: 50
                radius: Theme.smallRadius + 1
                color: entry.selected ? Theme.selection : rowMouse.containsMouse ? Theme.hover : "transparent"
                RowLayout {
                    anchors.fill: parent
                    anchors.leftMargin: 10
                    anchors.rightMargin: 10
                    spacing: 8
                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: 2
                        Text {
                            Layout.fillWidth: true
                            text: entry.modelData.title
                            color: Theme.text
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.bodySize
                            font.weight: Font.DemiBold
                            elide: Text.ElideRight
                        }
                        Text {
                            Layout.fillWidth: true
                            text: entry.modelData.time
                            color: Theme.secondaryText
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.captionSize + 1
                            elide: Text.ElideRight
                        }
                    }
                    PulsingDot {
                        objectName: "recordingMark"
                        visible: entry.recording
                        tint: Theme.danger
                    }
                    Icon {
                        visible: !entry.recording && entry.modelData.hasNotes
                        symbol: "sparkle"
                        size: 15
                        color: Theme.accent
                    }
                }
                MouseArea {
                    id: rowMouse
                    anchors.fill: parent
                    hoverEnabled: true
                    acceptedButtons: Qt.LeftButton | Qt.RightButton
                    onClicked: mouse => {
                        if (mouse.button === Qt.RightButton)
                            rowMenu.popup()
                        else
                            app.meetings.select(entry.modelData.id)
                    }
                }
                Menu {
                    id: rowMenu
                    StyledMenuItem { text: "Delete"; onTriggered: app.meetings.deleteMeeting(entry.modelData.id) }
                }
            }
        }
    }
}
