import QtQuick
import QtQuick.Layouts

// An empty screen or section: a symbol, a title and a message, and a button
// when there is something to do.
ColumnLayout {
    id: root
    property string symbol
    property string title
    property string message
    property string actionTitle
    signal action()
    spacing: 10

    Rectangle {
        Layout.alignment: Qt.AlignHCenter
        width: 76; height: 76; radius: 38
        color: Theme.well
        Icon { anchors.centerIn: parent; symbol: root.symbol; size: 38; color: Theme.tertiaryText }
    }
    Text {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 6
        text: root.title
        color: Theme.text
        font.family: Theme.fontFamily
        font.pixelSize: Theme.headingSize + 2
        font.weight: Font.DemiBold
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        Layout.maximumWidth: 460
    }
    Text {
        Layout.alignment: Qt.AlignHCenter
        text: root.message
        visible: text.length > 0
        color: Theme.secondaryText
        font.family: Theme.fontFamily
        font.pixelSize: Theme.bodySize
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        lineHeight: 1.25
        Layout.maximumWidth: 420
    }
    StyledButton {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 6
        visible: root.actionTitle.length > 0
        text: root.actionTitle
        prominent: true
        onClicked: root.action()
    }
}
