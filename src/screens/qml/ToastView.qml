import QtQuick
import QtQuick.Layouts

// The one-line message over the window, with its check mark. The model
// clears it after three seconds; a newer one replaces the text.
Rectangle {
    id: toast
    objectName: "toast"
    readonly property string text: app.toast
    visible: opacity > 0
    opacity: text.length > 0 ? 1 : 0
    Behavior on opacity { NumberAnimation { duration: 220; easing.type: Easing.OutCubic } }
    implicitWidth: Math.min(row.implicitWidth + 36, 640)
    implicitHeight: 42
    radius: height / 2
    color: Theme.dark ? "#3a3c43" : "#22252b"
    RowLayout {
        id: row
        anchors.centerIn: parent
        width: Math.min(implicitWidth, toast.width - 36)
        spacing: 8
        Icon { symbol: "checkmark.circle.fill"; size: 18; color: "#5fd38d" }
        Text {
            objectName: "toastText"
            Layout.fillWidth: true
            text: toast.text
            color: "#ffffff"
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
            elide: Text.ElideRight
        }
    }
}
