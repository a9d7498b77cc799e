import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The user's own notes, saved as they type, and under them the notes
// Claude wrote: the user's points plain, Claude's marked with the sparkle.
Flickable {
    id: pane
    required property var session
    readonly property var notes: pane.session.meeting.enhanced
    readonly property bool hasNotes: notes !== undefined && notes !== null
    clip: true
    contentHeight: column.implicitHeight + 2 * Theme.padding
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: ScrollBar {}

    ColumnLayout {
        id: column
        x: Theme.padding
        y: Theme.padding
        width: pane.width - 2 * Theme.padding
        spacing: 10

        RowLayout {
            spacing: 6
            Icon { symbol: "pencil.line"; size: 16; color: Theme.secondaryText }
            Text {
                text: "Your notes"
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize + 1
                font.weight: Font.DemiBold
            }
        }
        TextArea {
            id: userNotes
            objectName: "userNotes"
            Layout.fillWidth: true
            Layout.minimumHeight: 110
            text: pane.session.userNotes
            placeholderText: "Jot quick notes as you go. Single words are fine: Larder fills in the rest from the transcript."
            placeholderTextColor: Theme.tertiaryText
            wrapMode: TextEdit.Wrap
            color: Theme.text
            selectByMouse: true
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
            padding: 10
            background: Rectangle {
                radius: Theme.smallRadius + 1
                color: Theme.well
                border.color: userNotes.activeFocus ? Theme.accent : Theme.separator
            }
            // What is typed goes to the session, which saves it after a
            // pause and keeps it when Claude's notes arrive meanwhile.
            onTextChanged: if (text !== pane.session.userNotes) pane.session.userNotes = text
        }

        Rectangle { Layout.fillWidth: true; Layout.topMargin: 8; height: 1; color: Theme.separator }

        // Claude at work.
        RowLayout {
            objectName: "writingNotes"
            visible: pane.session.enhancing
            Layout.topMargin: 8
            spacing: 8
            BusyIndicator { running: parent.visible; Layout.preferredWidth: 20; Layout.preferredHeight: 20 }
            Icon { symbol: "sparkles"; size: 16; color: Theme.accent }
            Text {
                text: "Claude is writing your notes…"
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
            }
        }

        // The notes.
        ColumnLayout {
            objectName: "enhancedNotes"
            visible: !pane.session.enhancing && pane.hasNotes
            Layout.fillWidth: true
            spacing: 10
            Text {
                Layout.fillWidth: true
                visible: text.length > 0
                text: pane.hasNotes ? pane.notes.summary : ""
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize + 1
                wrapMode: Text.Wrap
                lineHeight: 1.25
                textFormat: Text.PlainText
            }
            Repeater {
                model: pane.hasNotes ? pane.notes.sections : []
                ColumnLayout {
                    required property var modelData
                    Layout.fillWidth: true
                    spacing: 5
                    Text {
                        Layout.topMargin: 6
                        text: modelData.heading
                        color: Theme.text
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.headingSize - 1
                        font.weight: Font.DemiBold
                        wrapMode: Text.Wrap
                        Layout.fillWidth: true
                    }
                    Repeater {
                        model: modelData.bullets
                        NoteLine {
                            required property var modelData
                            Layout.fillWidth: true
                            symbol: modelData.origin === "user" ? "" : "sparkle"
                            text: modelData.text
                        }
                    }
                }
            }
            RowLayout {
                Layout.topMargin: 6
                visible: pane.hasNotes && pane.notes.decisions.length > 0
                spacing: 6
                Icon { symbol: "checkmark.seal.fill"; size: 16; color: "#1fa37a" }
                Text {
                    text: "Decisions"
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.headingSize - 1
                    font.weight: Font.DemiBold
                }
            }
            Repeater {
                model: pane.hasNotes ? pane.notes.decisions : []
                NoteLine { required property var modelData; Layout.fillWidth: true; text: modelData }
            }
            Text {
                Layout.topMargin: 6
                visible: pane.hasNotes && pane.notes.actionItems.length > 0
                text: "Action items"
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.headingSize - 1
                font.weight: Font.DemiBold
            }
            Repeater {
                model: pane.hasNotes ? pane.notes.actionItems : []
                NoteLine {
                    required property var modelData
                    Layout.fillWidth: true
                    symbol: "circle"
                    text: modelData.task
                    detail: [modelData.owner, modelData.due].filter(part => part.length > 0).join(" · ")
                }
            }
            // The legend and when Claude wrote them.
            RowLayout {
                Layout.topMargin: 12
                Layout.fillWidth: true
                spacing: 6
                Rectangle { width: 6; height: 6; radius: 3; color: Theme.secondaryText }
                Text { text: "From your notes"; color: Theme.secondaryText; font.family: Theme.fontFamily; font.pixelSize: Theme.captionSize }
                Icon { Layout.leftMargin: 10; symbol: "sparkle"; size: 12; color: Theme.accent }
                Text { text: "Added from the transcript"; color: Theme.secondaryText; font.family: Theme.fontFamily; font.pixelSize: Theme.captionSize }
                Item { Layout.fillWidth: true }
                Text {
                    objectName: "writtenBy"
                    text: pane.session.meeting.enhancedAt ? meetingItems.writtenText(pane.session.meeting.enhancedAt) : ""
                    color: Theme.tertiaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.captionSize
                    elide: Text.ElideRight
                }
            }
        }

        // Nothing written yet.
        ColumnLayout {
            visible: !pane.session.enhancing && !pane.hasNotes
            Layout.fillWidth: true
            Layout.topMargin: 18
            spacing: 10
            EmptyStateView {
                objectName: "noNotes"
                Layout.alignment: Qt.AlignHCenter
                Layout.maximumWidth: 460
                symbol: "sparkles"
                title: "Notes that write themselves"
                message: "After the meeting, Claude turns your shorthand and the transcript into clean notes with decisions and action items. Your own points stay front and centre."
            }
            RowLayout {
                objectName: "enhanceError"
                Layout.alignment: Qt.AlignHCenter
                Layout.maximumWidth: 460
                visible: pane.session.enhanceError.length > 0
                spacing: 6
                Icon { symbol: "exclamationmark.triangle.fill"; size: 16; color: Theme.danger; Layout.alignment: Qt.AlignTop }
                Text {
                    Layout.fillWidth: true
                    text: pane.session.enhanceError
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                    wrapMode: Text.Wrap
                }
            }
        }
    }
}
