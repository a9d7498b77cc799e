import QtQuick
import QtQuick.Controls

// A field for a secret: what is typed shows as dots.
TextField {
    id: field
    echoMode: TextInput.Password
    passwordCharacter: "•"
    implicitHeight: 34
    leftPadding: 10
    rightPadding: 10
    color: Theme.text
    placeholderTextColor: Theme.tertiaryText
    selectionColor: Theme.selection
    selectedTextColor: Theme.text
    font.family: Theme.fontFamily
    font.pixelSize: Theme.bodySize
    background: Rectangle {
        radius: Theme.smallRadius + 1
        color: Theme.well
        border.width: field.activeFocus ? 2 : 1
        border.color: field.activeFocus ? Theme.accent : Theme.separator
    }
}
