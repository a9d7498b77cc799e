import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Record, or what the recorder is doing with this meeting: getting ready,
// the live bar with the elapsed time and the levels, or finishing.
Item {
    id: control
    required property var session
    readonly property bool ours: app.recorder.meetingID === session.meetingID
    readonly property string mode: ours ? app.recorderState : "other"
    implicitWidth: row.implicitWidth
    implicitHeight: 30

    RowLayout {
        id: row
        anchors.verticalCenter: parent.verticalCenter
        spacing: 8

        StyledButton {
            objectName: "recordButton"
            visible: control.mode !== "preparing" && control.mode !== "recording" && control.mode !== "stopping"
            symbol: "record.circle"
            text: "Record"
            bordered: true
            enabled: app.recorderState === "idle"
            hoverEnabled: true
            toolTip: enabled ? "Record and transcribe this meeting" : "Another meeting is being recorded"
            onClicked: app.meetings.startRecording()
        }

        BusyIndicator {
            visible: control.mode === "preparing" || control.mode === "stopping"
            running: visible
            Layout.preferredWidth: 20
            Layout.preferredHeight: 20
        }
        Text {
            objectName: "recorderProgress"
            visible: control.mode === "preparing" || control.mode === "stopping"
            text: control.mode === "stopping" ? "Finishing transcript…" : app.recorder.preparingText
            color: Theme.secondaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
            elide: Text.ElideRight
            Layout.maximumWidth: 240
        }

        // The live bar.
        RowLayout {
            objectName: "liveBar"
            visible: control.mode === "recording"
            spacing: 8
            StyledButton {
                objectName: "stopButton"
                symbol: "stop.fill"
                text: "Stop"
                prominent: true
                onClicked: app.stopRecording()
            }
            PulsingDot { tint: Theme.danger }
            Text {
                id: elapsed
                objectName: "elapsedTime"
                property int tick: 0
                text: { elapsed.tick; return meetingItems.elapsedText(app.recorder.startedAt) }
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
                Timer { interval: 500; running: control.mode === "recording"; repeat: true; onTriggered: elapsed.tick++ }
            }
            Text { text: "You"; color: Theme.secondaryText; font.family: Theme.fontFamily; font.pixelSize: Theme.captionSize }
            LevelBars { objectName: "micLevel"; level: app.recorder.micLevel }
            Text {
                visible: app.recorder.capturingSystemAudio
                text: "Them"
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.captionSize
            }
            LevelBars {
                objectName: "systemLevel"
                visible: app.recorder.capturingSystemAudio
                level: app.recorder.systemLevel
                tint: "#1fa37a"
            }
        }
    }
}
