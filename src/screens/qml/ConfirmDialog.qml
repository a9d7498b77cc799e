import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A question before something that moves files, with its one action.
Popup {
    id: dialog
    property string title
    property string message
    property string confirmTitle: "OK"
    signal confirmed()
    parent: Overlay.overlay
    anchors.centerIn: parent
    modal: true
    focus: true
    padding: 22
    width: 400
    background: Rectangle {
        radius: 14
        color: Theme.surfaceRaised
        border.color: Theme.separator
    }
    Overlay.modal: Rectangle { color: Qt.rgba(0, 0, 0, 0.35) }
    contentItem: ColumnLayout {
        spacing: 10
        Text {
            Layout.fillWidth: true
            text: dialog.title
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.headingSize
            font.weight: Font.DemiBold
            wrapMode: Text.Wrap
        }
        Text {
            Layout.fillWidth: true
            text: dialog.message
            color: Theme.secondaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
            wrapMode: Text.Wrap
        }
        RowLayout {
            Layout.topMargin: 10
            Layout.alignment: Qt.AlignRight
            spacing: 8
            StyledButton { text: "Cancel"; bordered: true; onClicked: dialog.close() }
            StyledButton {
                objectName: "confirmButton"
                text: dialog.confirmTitle
                prominent: true
                onClicked: { dialog.close(); dialog.confirmed() }
            }
        }
    }
}
