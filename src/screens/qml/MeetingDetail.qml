import QtQuick
import QtQuick.Controls
import QtQuick.Dialogs
import QtQuick.Layouts

// The open meeting: its title, the recording control, the notes button and
// the menu; the recorder's warning; then the notes, the transcript and the
// live answers, one pane at a time.
Item {
    id: detail
    objectName: "meetingDetail"
    required property var session
    readonly property bool ours: app.recorder.meetingID === session.meetingID
    readonly property bool hasNotes: session.meeting.enhanced !== undefined && session.meeting.enhanced !== null

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        RowLayout {
            Layout.fillWidth: true
            Layout.margins: 14
            Layout.bottomMargin: 10
            spacing: 8
            TextField {
                id: titleField
                objectName: "meetingTitle"
                Layout.fillWidth: true
                Layout.minimumWidth: 120
                text: detail.session.title
                placeholderText: "Untitled meeting"
                placeholderTextColor: Theme.tertiaryText
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.headingSize + 4
                font.weight: Font.DemiBold
                background: Rectangle {
                    radius: Theme.smallRadius
                    color: titleField.activeFocus ? Theme.well : "transparent"
                    border.width: titleField.activeFocus ? 1 : 0
                    border.color: Theme.separator
                }
                onTextEdited: detail.session.title = text
                // A long title shows its beginning until it is edited.
                Component.onCompleted: cursorPosition = 0
            }
            StyledButton {
                objectName: "enhanceButton"
                symbol: "sparkles"
                text: detail.hasNotes ? "Rewrite" : "Enhance Notes"
                bordered: true
                enabled: app.hasAPIKey && !detail.session.enhancing
                toolTip: app.hasAPIKey ? "Claude writes up your notes using the transcript" : "Add a Claude API key in Settings"
                // The help shows on a disabled button too.
                hoverEnabled: true
                onClicked: detail.session.enhance()
            }
            StyledButton {
                id: moreButton
                objectName: "meetingMenuButton"
                symbol: "ellipsis"
                onClicked: meetingMenu.popup(moreButton, 0, moreButton.height)
            }
            Menu {
                id: meetingMenu
                objectName: "meetingMenu"
                StyledMenuItem { text: "Copy as Markdown"; onTriggered: app.copyMeetingMarkdown() }
                StyledMenuItem {
                    objectName: "saveMarkdownItem"
                    text: "Save as Markdown…"
                    onTriggered: {
                        saveDialog.selectedFile = meetingItems.proposedFile(detail.session.displayTitle)
                        saveDialog.open()
                    }
                }
                MenuSeparator {}
                StyledMenuItem { objectName: "deleteMeetingItem"; text: "Delete Meeting"; onTriggered: confirmDelete.open() }
            }
        }

        // The recorder's warning, until the next recording starts.
        Rectangle {
            objectName: "recorderWarning"
            Layout.fillWidth: true
            Layout.leftMargin: 14
            Layout.rightMargin: 14
            Layout.bottomMargin: 10
            visible: detail.ours && app.recorder.warning.length > 0
            implicitHeight: warningRow.implicitHeight + 16
            radius: Theme.smallRadius
            color: Qt.rgba(Theme.danger.r, Theme.danger.g, Theme.danger.b, 0.12)
            RowLayout {
                id: warningRow
                anchors.fill: parent
                anchors.margins: 8
                spacing: 8
                Icon { symbol: "exclamationmark.triangle.fill"; size: 17; color: Theme.danger; Layout.alignment: Qt.AlignTop }
                Text {
                    Layout.fillWidth: true
                    text: app.recorder.warning
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                    wrapMode: Text.Wrap
                }
            }
        }

        // The panes, in order, and the recording beside them; the recording
        // goes under them when the window is narrow.
        Flow {
            Layout.fillWidth: true
            Layout.leftMargin: 14
            Layout.rightMargin: 14
            Layout.bottomMargin: 8
            spacing: 16
            Row {
                spacing: 4
                Repeater {
                    model: [0, 1, 2]
                    delegate: Rectangle {
                        required property int modelData
                        readonly property bool current: detail.session.tab === modelData
                        readonly property string label: modelData === 2 && detail.session.answers.length > 0
                            ? "Live answers (" + detail.session.answers.length + ")" : detail.session.tabTitle(modelData)
                        objectName: "meetingTab:" + modelData
                        width: tabText.implicitWidth + 24
                        height: 28
                        radius: 14
                        color: current ? Theme.selection : tabMouse.containsMouse ? Theme.hover : "transparent"
                        Text {
                            id: tabText
                            anchors.centerIn: parent
                            text: parent.label
                            color: parent.current ? Theme.accent : Theme.secondaryText
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.bodySize
                            font.weight: parent.current ? Font.DemiBold : Font.Normal
                        }
                        MouseArea {
                            id: tabMouse
                            anchors.fill: parent
                            hoverEnabled: true
                            onClicked: detail.session.tab = parent.modelData
                        }
                    }
                }
            }
            RecordingControl { session: detail.session; height: 28 }
        }
        Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }

        StackLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: detail.session.tab
            MeetingNotesPane { session: detail.session }
            // The live answers stand beside the transcript when there is
            // room and something to show.
            RowLayout {
                spacing: 0
                TranscriptPane {
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    session: detail.session
                }
                Rectangle {
                    Layout.fillHeight: true
                    width: 1
                    color: Theme.separator
                    visible: besideAnswers.visible
                }
                LiveAnswersPane {
                    id: besideAnswers
                    objectName: "answersBesideTranscript"
                    readonly property bool shown: detail.width >= 640
                        && (detail.session.answers.length > 0 || detail.session.answering.length > 0)
                    Layout.fillHeight: true
                    Layout.preferredWidth: shown ? 300 : 0
                    Layout.maximumWidth: shown ? 300 : 0
                    visible: shown
                    session: detail.session
                    compact: true
                }
            }
            LiveAnswersPane { session: detail.session }
        }
    }

    ConfirmDialog {
        id: confirmDelete
        objectName: "confirmDeleteMeeting"
        title: "Delete this meeting?"
        message: "Its notes, transcript and live answers will be removed."
        confirmTitle: "Delete Meeting"
        onConfirmed: app.meetings.deleteMeeting(detail.session.meetingID)
    }

    FileDialog {
        id: saveDialog
        objectName: "saveMarkdownDialog"
        title: "Save as Markdown…"
        fileMode: FileDialog.SaveFile
        nameFilters: ["Markdown (*.md)", "Plain text (*.txt)"]
        defaultSuffix: "md"
        onAccepted: {
            const error = detail.session.saveMarkdown(meetingItems.pathOf(selectedFile))
            if (error.length > 0)
                app.toast = error
        }
    }
}
