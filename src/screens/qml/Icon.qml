import QtQuick

// A symbol by its name, drawn with the icon font.
Text {
    property string symbol
    property real size: 18
    font.family: symbols.fontFamily
    font.pixelSize: size
    text: symbols.glyph(symbol)
    color: Theme.text
    horizontalAlignment: Text.AlignHCenter
    verticalAlignment: Text.AlignVCenter
    renderType: Text.QtRendering
}
