import QtQuick
import QtQuick.Window

// A file's thumbnail; the kind's icon stands until the picture is there, and
// stays when the file has none.
Item {
    id: root
    property string source
    property string symbol: "doc.fill"
    property string tint: ""
    property real size: 128
    property real cornerRadius: 8
    width: size
    height: size

    KindIcon {
        anchors.centerIn: parent
        size: Math.min(root.width, root.height) * 0.6
        symbol: root.symbol
        tint: root.tint
        visible: !picture.shown
    }
    // A hairline frame, so that white pages and pale pictures stand out.
    Rectangle {
        visible: picture.shown
        anchors.centerIn: parent
        width: picture.paintedWidth + 2
        height: picture.paintedHeight + 2
        radius: 3
        color: "transparent"
        border.color: Theme.separator
        z: 1
    }
    Image {
        id: picture
        // A picture of one pixel means the file has none.
        readonly property bool shown: status === Image.Ready && implicitWidth > 1
        anchors.fill: parent
        source: root.source
        sourceSize.width: Math.ceil(root.size * Screen.devicePixelRatio)
        sourceSize.height: Math.ceil(root.size * Screen.devicePixelRatio)
        asynchronous: true
        cache: false
        fillMode: Image.PreserveAspectFit
        opacity: shown ? 1 : 0
        Behavior on opacity { NumberAnimation { duration: 160 } }
    }
}
