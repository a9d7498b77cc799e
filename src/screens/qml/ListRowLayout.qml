import QtQuick
import QtQuick.Layouts

// The columns of the list view: Name, Kind, Size, Modified, From.
RowLayout {
    id: row
    property var cells: []
    property bool header: false
    property string symbol
    property string tint
    spacing: 12
    anchors.leftMargin: 16
    anchors.rightMargin: 16

    readonly property var widths: [0, 110, 80, 170, 120]

    Icon {
        visible: !row.header
        symbol: row.symbol
        size: 16
        color: Theme.tint(row.tint)
        Layout.leftMargin: 16
    }
    Repeater {
        model: row.cells
        Text {
            required property var modelData
            required property int index
            Layout.fillWidth: index === 0
            Layout.preferredWidth: index === 0 ? 200 : row.widths[index]
            Layout.leftMargin: index === 0 && row.header ? 16 : 0
            Layout.rightMargin: index === row.cells.length - 1 ? 16 : 0
            text: modelData || ""
            color: row.header ? Theme.secondaryText : index === 0 ? Theme.text : Theme.secondaryText
            font.family: Theme.fontFamily
            font.pixelSize: row.header ? Theme.captionSize : Theme.bodySize - 1
            font.weight: row.header ? Font.DemiBold : Font.Normal
            elide: index === 0 ? Text.ElideMiddle : Text.ElideRight
            horizontalAlignment: index === 2 ? Text.AlignRight : Text.AlignLeft
        }
    }
}
