import QtQuick

// Where a file came from: the source's symbol in its colour.
Rectangle {
    id: root
    property string symbol: "globe"
    property color tint: Theme.accent
    property real size: 28
    width: size; height: size; radius: size / 2
    color: Qt.rgba(tint.r, tint.g, tint.b, 0.14)
    Icon { anchors.centerIn: parent; symbol: root.symbol; size: root.size * 0.56; color: root.tint }
}
