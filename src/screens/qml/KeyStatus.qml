import QtQuick
import QtQuick.Layouts

// How the last key check went: nothing before one, a spinner while it
// runs, "Connected" or why the key was refused.
RowLayout {
    id: status
    required property var claude
    objectName: "keyStatus"
    visible: claude.status !== "idle"
    spacing: 8

    Spinner {
        objectName: "keyChecking"
        visible: status.claude.status === "checking"
        Layout.alignment: Qt.AlignTop
    }
    Icon {
        visible: status.claude.status === "valid" || status.claude.status === "invalid"
        symbol: status.claude.status === "valid" ? "checkmark.circle.fill" : "xmark.octagon.fill"
        color: status.claude.status === "valid" ? "#2fa360" : Theme.danger
        size: 20
        Layout.alignment: Qt.AlignTop
    }
    ColumnLayout {
        spacing: 2
        Layout.fillWidth: true
        Text {
            objectName: "keyStatusText"
            Layout.fillWidth: true
            text: status.claude.status === "checking" ? "Checking the key…"
                : status.claude.status === "valid" ? "Connected"
                : status.claude.status === "invalid" ? status.claude.message : ""
            color: status.claude.status === "invalid" ? Theme.danger : Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
            wrapMode: Text.Wrap
        }
        Text {
            objectName: "keyStorageNote"
            visible: status.claude.status === "valid" && text.length > 0
            Layout.fillWidth: true
            text: status.claude.message
            color: Theme.secondaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.captionSize + 1
            wrapMode: Text.Wrap
        }
    }
}
