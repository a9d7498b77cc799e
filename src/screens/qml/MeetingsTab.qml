import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Settings' Meetings tab: the language of transcription and what Claude does
// during and after a meeting.
ColumnLayout {
    id: tab
    Layout.fillWidth: true
    spacing: 18

    // The languages offered: the English variants the on-device model
    // serves, and the chosen one whatever it is.
    readonly property var locales: {
        const offered = ["en_US", "en_GB", "en_AU", "en_CA", "en_IE", "en_IN", "en_NZ", "en_ZA"]
        const chosen = app.settings.transcriptionLocale
        if (chosen.length > 0 && offered.indexOf(chosen) < 0)
            offered.unshift(chosen)
        return offered.map(name => ({value: name, label: tab.localeName(name)}))
    }
    function localeName(name) {
        // The bare C locale of a computer with no language set.
        if (name === "C" || name === "POSIX")
            return "Computer default (English)"
        const locale = Qt.locale(name)
        if (locale.nativeLanguageName.length === 0)
            return name
        return locale.nativeTerritoryName.length > 0
            ? locale.nativeLanguageName + " (" + locale.nativeTerritoryName + ")"
            : locale.nativeLanguageName
    }

    SettingsGroup {
        Layout.fillWidth: true
        title: "Transcription"
        caption: "Speech is transcribed on this computer with an on-device English model."
        RowLayout {
            spacing: 12
            Layout.fillWidth: true
            Text {
                text: "Transcription language"
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
                Layout.fillWidth: true
            }
            ComboBox {
                id: picker
                objectName: "localePicker"
                Layout.preferredWidth: 260
                implicitHeight: 32
                model: tab.locales
                textRole: "label"
                valueRole: "value"
                currentIndex: Math.max(0, indexOfValue(app.settings.transcriptionLocale))
                onActivated: app.settings.transcriptionLocale = currentValue
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
                contentItem: Text {
                    leftPadding: 10
                    text: picker.displayText
                    font: picker.font
                    color: Theme.text
                    verticalAlignment: Text.AlignVCenter
                    elide: Text.ElideRight
                }
                indicator: Icon {
                    x: picker.width - width - 8
                    anchors.verticalCenter: parent.verticalCenter
                    symbol: "chevron.down"
                    size: 16
                    color: Theme.secondaryText
                }
                background: Rectangle {
                    radius: Theme.smallRadius + 1
                    color: Theme.well
                    border.color: picker.activeFocus ? Theme.accent : Theme.separator
                }
                delegate: ItemDelegate {
                    required property var modelData
                    required property int index
                    width: picker.width
                    highlighted: picker.highlightedIndex === index
                    contentItem: Text {
                        text: modelData.label
                        font: picker.font
                        color: Theme.text
                        elide: Text.ElideRight
                    }
                    background: Rectangle { color: highlighted ? Theme.selection : "transparent" }
                }
                popup.background: Rectangle {
                    color: Theme.surfaceRaised
                    radius: Theme.smallRadius
                    border.color: Theme.separator
                }
            }
        }
    }

    SettingsGroup {
        Layout.fillWidth: true
        title: "Claude"
        caption: "For the best speaker labels, wear headphones. Without them your microphone also hears the call; Larder filters out that echo, but headphones keep \"You\" and \"Them\" cleanly apart."
        ToggleRow {
            objectName: "liveAnswersToggle"
            Layout.fillWidth: true
            text: "Answer questions from my files during meetings"
            checked: app.settings.liveAnswersEnabled
            onToggled: app.settings.liveAnswersEnabled = checked
        }
        ToggleRow {
            objectName: "autoEnhanceToggle"
            Layout.fillWidth: true
            text: "Write up notes automatically when a meeting ends"
            checked: app.settings.autoEnhance
            onToggled: app.settings.autoEnhance = checked
        }
    }
}
