import QtQuick

// A moving highlight over a placeholder while something loads.
Rectangle {
    id: root
    property real phase: 0
    radius: Theme.smallRadius
    color: Theme.well
    clip: true
    Rectangle {
        width: root.width * 0.4
        height: root.height
        x: -width + (root.width + width) * root.phase
        gradient: Gradient {
            orientation: Gradient.Horizontal
            GradientStop { position: 0; color: "transparent" }
            GradientStop { position: 0.5; color: Theme.hover }
            GradientStop { position: 1; color: "transparent" }
        }
    }
    NumberAnimation on phase { from: 0; to: 1; duration: 1200; loops: Animation.Infinite; running: root.visible }
}
