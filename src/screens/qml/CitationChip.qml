import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A source of an answer: its number, a symbol for a file or a meeting, and
// its title; the detail shows on hover. Pressing it opens the source.
Rectangle {
    id: chip
    property var citation
    property int number: 0
    signal activated()
    implicitWidth: Math.min(row.implicitWidth + 16, 260)
    implicitHeight: 26
    radius: 13
    color: chipMouse.containsMouse ? Theme.hover : Theme.well
    border.color: Theme.separator
    ToolTip.visible: chipMouse.containsMouse && chip.citation.detail.length > 0
    ToolTip.text: chip.citation.detail
    ToolTip.delay: 600
    RowLayout {
        id: row
        anchors.fill: parent
        anchors.leftMargin: 8
        anchors.rightMargin: 8
        spacing: 5
        Text {
            visible: chip.number > 0
            text: chip.number
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.captionSize
            font.weight: Font.Bold
        }
        Icon {
            symbol: chip.citation.kind === "file" ? "doc.text" : "waveform"
            size: 14
            color: Theme.accent
        }
        Text {
            Layout.fillWidth: true
            text: chip.citation.title
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.captionSize + 1
            elide: Text.ElideRight
        }
    }
    MouseArea {
        id: chipMouse
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: Qt.PointingHandCursor
        onClicked: chip.activated()
    }
}
