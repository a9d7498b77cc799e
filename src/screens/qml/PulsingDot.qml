import QtQuick

// A dot that pulses while it is on screen.
Rectangle {
    id: dot
    property color tint: Theme.accent
    width: 8; height: 8; radius: 4
    color: tint
    SequentialAnimation on opacity {
        running: dot.visible
        loops: Animation.Infinite
        NumberAnimation { from: 1; to: 0.3; duration: 700; easing.type: Easing.InOutQuad }
        NumberAnimation { from: 0.3; to: 1; duration: 700; easing.type: Easing.InOutQuad }
    }
}
