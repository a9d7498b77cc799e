import QtQuick

// A link to a page on the web, opened in the desktop's browser.
Text {
    id: link
    property string url
    color: Theme.accent
    font.family: Theme.fontFamily
    font.pixelSize: Theme.bodySize
    font.underline: linkMouse.containsMouse
    MouseArea {
        id: linkMouse
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: Qt.PointingHandCursor
        onClicked: Qt.openUrlExternally(link.url)
    }
}
