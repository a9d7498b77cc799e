import QtQuick
import QtQuick.Layouts

// One line of the written notes: a mark (a dot when no symbol is given),
// the text, and an optional detail after it.
RowLayout {
    id: line
    property string symbol
    property string text
    property string detail
    spacing: 8
    Item {
        Layout.alignment: Qt.AlignTop
        Layout.topMargin: 2
        width: 16
        height: 16
        Rectangle {
            visible: line.symbol.length === 0
            anchors.centerIn: parent
            width: 5; height: 5; radius: 2.5
            color: Theme.text
        }
        Icon {
            visible: line.symbol.length > 0
            anchors.centerIn: parent
            symbol: line.symbol
            size: 14
            color: line.symbol === "sparkle" ? Theme.accent : Theme.secondaryText
        }
    }
    Text {
        Layout.fillWidth: true
        text: line.text + (line.detail.length > 0 ? "  —  " + line.detail : "")
        color: Theme.text
        font.family: Theme.fontFamily
        font.pixelSize: Theme.bodySize
        wrapMode: Text.Wrap
        lineHeight: 1.2
        textFormat: Text.PlainText
    }
}
