import QtQuick
import QtQuick.Layouts

// A small card on the home page that leads to a screen.
Rectangle {
    id: card
    property string symbol
    property string tint
    property string title
    property string value
    property string detail
    signal action()
    implicitHeight: Math.max(62, content.implicitHeight + 24)
    radius: Theme.radius
    color: mouse.containsMouse ? Qt.darker(Theme.surface, Theme.dark ? 0.9 : 1.02) : Theme.surface
    border.color: Theme.separator
    RowLayout {
        id: content
        anchors.fill: parent
        anchors.margins: 12
        spacing: 12
        KindIcon { symbol: card.symbol; tint: card.tint; size: 36 }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 1
            RowLayout {
                Layout.fillWidth: true
                Text { text: card.title; color: Theme.secondaryText; font.family: Theme.fontFamily; font.pixelSize: Theme.captionSize + 1 }
                Item { Layout.fillWidth: true }
                Text { text: card.value; color: Theme.text; font.family: Theme.fontFamily; font.pixelSize: Theme.bodySize + 1; font.weight: Font.DemiBold }
            }
            Text {
                Layout.fillWidth: true
                text: card.detail
                color: Theme.tertiaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.captionSize
                wrapMode: Text.Wrap
                maximumLineCount: 2
                elide: Text.ElideRight
            }
        }
    }
    MouseArea { id: mouse; anchors.fill: parent; hoverEnabled: true; cursorShape: Qt.PointingHandCursor; onClicked: card.action() }
}
