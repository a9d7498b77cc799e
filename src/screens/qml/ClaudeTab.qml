import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Settings' Claude tab: the API key with its check, the models, and what
// goes to Claude.
ColumnLayout {
    id: tab
    required property var claude
    Layout.fillWidth: true
    spacing: 18

    SettingsGroup {
        Layout.fillWidth: true
        title: "API key"
        KeyField {
            objectName: "keyField"
            Layout.fillWidth: true
            text: tab.claude.key
            placeholderText: app.hasAPIKey ? "••••••••••••••••  (saved in your keyring)" : "sk-ant-…"
            onTextEdited: tab.claude.key = text
            onAccepted: tab.claude.saveAndVerify()
        }
        RowLayout {
            spacing: 8
            StyledButton {
                objectName: "saveKey"
                text: "Save & Verify"
                prominent: true
                enabled: tab.claude.key.trim().length > 0 && tab.claude.status !== "checking"
                onClicked: tab.claude.saveAndVerify()
            }
            StyledButton {
                objectName: "removeKey"
                visible: app.hasAPIKey
                text: "Remove Key"
                destructive: true
                bordered: true
                onClicked: tab.claude.removeKey()
            }
        }
        KeyStatus {
            Layout.fillWidth: true
            claude: tab.claude
        }
        Text {
            Layout.fillWidth: true
            text: "Claude Max and Team plans include monthly API credits. In " + tab.claude.webSiteName
                  + ", open Settings → Billing and link a Claude Console organization to claim them, then create a key in that organization."
            color: Theme.secondaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.captionSize + 1
            wrapMode: Text.Wrap
            lineHeight: 1.15
        }
        LinkLabel {
            text: "Create an API key in the Claude Console"
            url: tab.claude.consoleKeysURL
        }
    }

    SettingsGroup {
        Layout.fillWidth: true
        title: "Models"
        ModelField {
            objectName: "fastModelField"
            label: "Search"
            caption: "Reads requests and ranks results. Fast matters most."
            value: app.settings.fastModel
            onEdited: value => app.settings.fastModel = value
        }
        ModelField {
            objectName: "smartModelField"
            label: "Notes, live answers & Ask"
            caption: "Writes notes and answers questions. Quality matters most."
            value: app.settings.smartModel
            onEdited: value => app.settings.smartModel = value
        }
        Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }
        ToggleRow {
            objectName: "aiSearchToggle"
            Layout.fillWidth: true
            text: "Use Claude to understand searches"
            checked: app.settings.aiSearchEnabled
            onToggled: app.settings.aiSearchEnabled = checked
        }
        ToggleRow {
            objectName: "aiRerankToggle"
            Layout.fillWidth: true
            text: "Let Claude rank results using short excerpts"
            checked: app.settings.aiRerankEnabled
            onToggled: app.settings.aiRerankEnabled = checked
        }
    }

    SettingsGroup {
        Layout.fillWidth: true
        title: "Privacy"
        Text {
            Layout.fillWidth: true
            text: "Indexing, text recognition and transcription happen on this computer. For search, Claude receives your request plus the names, folders and short excerpts (up to 280 characters) of about 30 likely matches, never whole files. Meeting transcripts and notes go to Claude when you enhance notes, get live answers, or use Ask."
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
            wrapMode: Text.Wrap
            lineHeight: 1.15
        }
    }

    // A model's name, written when the field is left or Enter is pressed;
    // an emptied field keeps the model it had.
    component ModelField: ColumnLayout {
        id: model
        property string label
        property string caption
        property string value
        signal edited(string value)
        Layout.fillWidth: true
        spacing: 4
        RowLayout {
            spacing: 12
            Text {
                text: model.label
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
                Layout.preferredWidth: 190
                elide: Text.ElideRight
            }
            TextField {
                id: modelInput
                objectName: model.objectName + "Input"
                Layout.fillWidth: true
                text: model.value
                implicitHeight: 32
                color: Theme.text
                selectionColor: Theme.selection
                selectedTextColor: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
                background: Rectangle {
                    radius: Theme.smallRadius + 1
                    color: Theme.well
                    border.width: modelInput.activeFocus ? 2 : 1
                    border.color: modelInput.activeFocus ? Theme.accent : Theme.separator
                }
                function commit() {
                    const name = text.trim()
                    if (name.length > 0 && name !== model.value)
                        model.edited(name)
                    else
                        text = model.value
                }
                onEditingFinished: commit()
            }
        }
        Text {
            text: model.caption
            color: Theme.secondaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.captionSize + 1
            wrapMode: Text.Wrap
            Layout.fillWidth: true
            Layout.leftMargin: 202
        }
    }
}
