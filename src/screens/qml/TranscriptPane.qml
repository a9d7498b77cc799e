import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The transcript as it was heard: each line with its speaker and time, and
// while this meeting is recorded, each speaker's words still being
// recognised, dimmed, at the end. It keeps to the newest line.
Item {
    id: pane
    required property var session
    readonly property bool recording: pane.session.isRecording
    readonly property var volatileRows: {
        if (!pane.recording)
            return []
        const texts = app.recorder.volatileText
        const rows = []
        for (const speaker of ["me", "them"]) {
            if (texts[speaker] && texts[speaker].length > 0)
                rows.push({speakerLabel: speaker === "me" ? "You" : "Them", speaker: speaker, timestamp: "",
                           text: texts[speaker], volatile: true})
        }
        return rows
    }
    readonly property var rows: pane.session.segments.concat(volatileRows)

    Item {
        anchors.fill: parent
        visible: pane.rows.length === 0
        EmptyStateView {
            objectName: "noTranscript"
            anchors.centerIn: parent
            width: Math.min(parent.width - 40, 460)
            symbol: "waveform"
            title: pane.recording ? "Listening…" : "No transcript yet"
            message: "The transcript appears here while you record. Speech is transcribed on this computer and never leaves it during the call."
        }
    }

    ListView {
        id: lines
        objectName: "transcriptList"
        anchors.fill: parent
        anchors.margins: Theme.padding
        anchors.rightMargin: Theme.padding - 8
        visible: pane.rows.length > 0
        clip: true
        spacing: 10
        boundsBehavior: Flickable.StopAtBounds
        model: pane.rows
        ScrollBar.vertical: ScrollBar {}
        // The newest line stays in view as lines come in.
        onCountChanged: Qt.callLater(lines.positionViewAtEnd)
        delegate: RowLayout {
            id: line
            required property var modelData
            required property int index
            objectName: modelData.volatile ? "volatileLine:" + modelData.speaker : "segment:" + index
            width: lines.width - 8
            spacing: 10
            ColumnLayout {
                Layout.alignment: Qt.AlignTop
                Layout.preferredWidth: 56
                spacing: 1
                Text {
                    text: line.modelData.speakerLabel
                    color: line.modelData.speaker === "me" ? Theme.accent : "#1fa37a"
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.captionSize + 1
                    font.weight: Font.DemiBold
                }
                Text {
                    visible: line.modelData.timestamp.length > 0
                    text: line.modelData.timestamp
                    color: Theme.tertiaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.captionSize
                }
            }
            Text {
                Layout.fillWidth: true
                text: line.modelData.text
                color: line.modelData.volatile ? Theme.tertiaryText : Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
                font.italic: line.modelData.volatile === true
                wrapMode: Text.Wrap
                lineHeight: 1.2
                textFormat: Text.PlainText
            }
        }
    }
}
