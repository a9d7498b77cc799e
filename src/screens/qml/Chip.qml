import QtQuick
import QtQuick.Layouts

// A pill with a label, an optional symbol, and a remove button when it can
// be removed.
Rectangle {
    id: chip
    property string label
    property string symbol
    property string tint
    property bool removable: false
    signal remove()
    readonly property color tintColor: Theme.tint(tint)
    implicitWidth: row.implicitWidth + 20
    implicitHeight: 26
    radius: height / 2
    color: Qt.rgba(tintColor.r, tintColor.g, tintColor.b, Theme.dark ? 0.22 : 0.12)
    RowLayout {
        id: row
        anchors.centerIn: parent
        spacing: 5
        Icon { visible: chip.symbol.length > 0; symbol: chip.symbol; size: 14; color: chip.tintColor }
        Text {
            text: chip.label
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.captionSize + 1
        }
        Icon {
            objectName: "chipRemove"
            visible: chip.removable
            symbol: "xmark"
            size: 14
            color: Theme.secondaryText
            Accessible.name: "Remove " + chip.label
            MouseArea { anchors.fill: parent; anchors.margins: -4; onClicked: chip.remove() }
        }
    }
}
