import QtQuick

// A source's icon with its display name.
Row {
    property string name
    property string symbol: "globe"
    spacing: 6
    SourceIcon { symbol: parent.symbol; size: 20 }
    Text {
        text: parent.name
        color: Theme.text
        font.family: Theme.fontFamily
        font.pixelSize: Theme.bodySize
        anchors.verticalCenter: parent.verticalCenter
    }
}
