import QtQuick

// An audio level from 0 to 1 as a row of bars.
Row {
    id: bars
    property real level: 0
    property color tint: Theme.accent
    spacing: 2
    Repeater {
        model: 8
        Rectangle {
            required property int index
            width: 3
            height: 16
            radius: 1.5
            anchors.verticalCenter: parent ? parent.verticalCenter : undefined
            color: (index + 0.5) / 8 <= bars.level ? bars.tint : Theme.separator
        }
    }
}
