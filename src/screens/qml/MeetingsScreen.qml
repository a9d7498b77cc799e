import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Meetings: the list of meetings by day on the left, the open meeting on the
// right; with no meeting at all, a welcome that records the first one.
Item {
    id: screen
    objectName: "meetingsScreen"
    readonly property var meetings: app.meetings.meetings
    readonly property var session: app.meetings.session

    Component.onCompleted: app.meetings.reload()

    EmptyStateView {
        objectName: "meetingsWelcome"
        anchors.centerIn: parent
        width: Math.min(parent.width - 40, 480)
        visible: screen.meetings.length === 0
        symbol: "waveform"
        title: "Meeting notes, done for you"
        message: "Record any call, from Zoom, Meet, Teams or anything else. Larder transcribes it on your computer, answers questions from your files as they come up, and Claude writes the notes."
        actionTitle: "Record a Meeting"
        onAction: app.recordMeeting()
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0
        visible: screen.meetings.length > 0

        MeetingList {
            Layout.fillHeight: true
            Layout.fillWidth: false
            Layout.preferredWidth: Math.max(220, Math.min(290, screen.width * 0.3))
        }
        Rectangle { Layout.fillHeight: true; width: 1; color: Theme.separator }
        // A detail view per open meeting: made anew when another opens, and
        // gone before a closed session could be read.
        Loader {
            id: detailLoader
            Layout.fillWidth: true
            Layout.fillHeight: true
            // Handed over once, not bound: the view of a closed session goes
            // with it and never reads it after.
            property var current: screen.session
            onCurrentChanged: show()
            Component.onCompleted: show()
            function show() {
                setSource("")
                if (current)
                    setSource("MeetingDetail.qml", {session: current})
            }
        }
    }
}
