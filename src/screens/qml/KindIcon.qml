import QtQuick

// The symbol of a kind of file on a soft tile of its tint.
Rectangle {
    id: root
    property string symbol: "doc.fill"
    property string tint: ""
    property real size: 48
    width: size
    height: size
    radius: size * 0.22
    readonly property color tintColor: Theme.tint(tint)
    color: Qt.rgba(tintColor.r, tintColor.g, tintColor.b, Theme.dark ? 0.22 : 0.13)
    Icon {
        anchors.centerIn: parent
        symbol: root.symbol
        size: root.size * 0.52
        color: root.tintColor
    }
}
