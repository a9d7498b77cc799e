import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Settings, over the window: the library's folders and status, Claude's key,
// models and privacy, and the meetings' options. Every control writes its
// setting at once; there is nothing to save.
Popup {
    id: sheet
    property string tab: "general"
    readonly property var tabs: [
        {value: "general", label: "General", symbol: "gearshape"},
        {value: "claude", label: "Claude", symbol: "sparkles"},
        {value: "meetings", label: "Meetings", symbol: "waveform"},
    ]
    // The state of the key field, for as long as the sheet lives.
    readonly property var claude: shell.claudeSettings()

    function show(which) {
        if (which && which.length > 0)
            tab = which
        open()
    }

    parent: Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(680, parent.width - 48)
    height: Math.min(640, parent.height - 48)
    modal: true
    focus: true
    padding: 0
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside
    Overlay.modal: Rectangle { color: Theme.dark ? Qt.rgba(0, 0, 0, 0.55) : Qt.rgba(0.1, 0.12, 0.16, 0.32) }
    background: Rectangle {
        color: Theme.window
        radius: 12
        border.color: Theme.separator
    }

    contentItem: ColumnLayout {
        objectName: "settings"
        spacing: 0

        // The title and the tabs.
        Item {
            Layout.fillWidth: true
            implicitHeight: 96
            Text {
                anchors.horizontalCenter: parent.horizontalCenter
                y: 12
                text: "Settings"
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
                font.weight: Font.DemiBold
            }
            StyledButton {
                objectName: "closeSettings"
                anchors.right: parent.right
                anchors.rightMargin: 8
                y: 6
                symbol: "xmark"
                toolTip: "Close"
                onClicked: sheet.close()
            }
            Row {
                anchors.horizontalCenter: parent.horizontalCenter
                y: 36
                spacing: 6
                Repeater {
                    model: sheet.tabs
                    delegate: Rectangle {
                        required property var modelData
                        objectName: "settingsTab:" + modelData.value
                        width: 84
                        height: 52
                        radius: Theme.smallRadius + 1
                        color: sheet.tab === modelData.value ? Theme.selection : tabMouse.containsMouse ? Theme.hover : "transparent"
                        Column {
                            anchors.centerIn: parent
                            spacing: 2
                            Icon {
                                anchors.horizontalCenter: parent.horizontalCenter
                                symbol: modelData.symbol
                                size: 22
                                color: sheet.tab === modelData.value ? Theme.accent : Theme.secondaryText
                            }
                            Text {
                                anchors.horizontalCenter: parent.horizontalCenter
                                text: modelData.label
                                color: sheet.tab === modelData.value ? Theme.accent : Theme.text
                                font.family: Theme.fontFamily
                                font.pixelSize: Theme.captionSize + 1
                            }
                        }
                        MouseArea {
                            id: tabMouse
                            anchors.fill: parent
                            hoverEnabled: true
                            onClicked: sheet.tab = modelData.value
                        }
                    }
                }
            }
        }
        Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }

        StackLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: ["general", "claude", "meetings"].indexOf(sheet.tab)

            SettingsPage { GeneralTab {} }
            SettingsPage { ClaudeTab { objectName: "claudeTab"; claude: sheet.claude } }
            SettingsPage { MeetingsTab {} }
        }
    }
}
