import QtQuick
import QtQuick.Layouts

// A screen's title row: the title, a subtitle under it, and controls at the end.
RowLayout {
    id: header
    property string title
    property string subtitle
    property string symbol
    property string tint
    default property alias trailing: trailingRow.data
    spacing: 14

    KindIcon {
        visible: header.symbol.length > 0
        symbol: header.symbol
        tint: header.tint
        size: 40
    }
    ColumnLayout {
        spacing: 2
        Layout.fillWidth: true
        Text {
            text: header.title
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.titleSize
            font.weight: Font.Bold
            elide: Text.ElideRight
            Layout.fillWidth: true
        }
        Text {
            visible: text.length > 0
            text: header.subtitle
            color: Theme.secondaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
            elide: Text.ElideRight
            Layout.fillWidth: true
        }
    }
    RowLayout {
        id: trailingRow
        spacing: 8
    }
}
