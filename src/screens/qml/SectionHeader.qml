import QtQuick
import QtQuick.Layouts

// A section's title row inside a screen.
RowLayout {
    id: header
    property string title
    property string subtitle
    default property alias trailing: trailingRow.data
    spacing: 8
    ColumnLayout {
        spacing: 1
        Layout.fillWidth: true
        Text {
            text: header.title
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.headingSize
            font.weight: Font.DemiBold
        }
        Text {
            visible: text.length > 0
            text: header.subtitle
            color: Theme.secondaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.captionSize + 1
            elide: Text.ElideRight
            Layout.fillWidth: true
        }
    }
    RowLayout { id: trailingRow; spacing: 6 }
}
