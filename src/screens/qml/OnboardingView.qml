import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The first run, over the window: welcome, the folders of the library, and
// Claude's key. Finishing remembers that onboarding is done and starts
// indexing; it never shows again.
Rectangle {
    id: onboarding
    objectName: "onboarding"
    property int step: 0
    // The key field's state; a key typed is checked before it is kept.
    readonly property var claude: shell.claudeSettings()
    property bool checking: false
    property string keyError

    color: Theme.window
    // Nothing under the welcome takes a click.
    MouseArea { anchors.fill: parent; acceptedButtons: Qt.AllButtons; onWheel: wheel => wheel.accepted = true }

    function forward() {
        if (step < 2) {
            step += 1
            return
        }
        keyError = ""
        if (claude.key.trim().length === 0) {
            app.completeOnboarding()
            return
        }
        checking = true
        claude.saveAndVerify()
    }

    Connections {
        target: onboarding.claude
        function onVerified() {
            onboarding.checking = false
            // A key that works but couldn't be kept says so after the welcome.
            if (onboarding.claude.message.length > 0)
                app.toast = onboarding.claude.message
            app.completeOnboarding()
        }
        function onStatusChanged() {
            if (onboarding.claude.status === "invalid") {
                onboarding.keyError = onboarding.claude.message
                onboarding.checking = false
            }
        }
    }

    Rectangle {
        id: card
        anchors.centerIn: parent
        width: Math.min(640, parent.width - 48)
        height: Math.min(600, parent.height - 40)
        radius: 14
        color: Theme.surface
        border.color: Theme.separator

        ColumnLayout {
            anchors.fill: parent
            anchors.margins: 28
            spacing: 16

            StackLayout {
                Layout.fillWidth: true
                Layout.fillHeight: true
                currentIndex: onboarding.step

                // Welcome.
                Flickable {
                    id: welcomePage
                    clip: true
                    contentHeight: welcome.implicitHeight
                    boundsBehavior: Flickable.StopAtBounds
                    ColumnLayout {
                        id: welcome
                        width: welcomePage.width
                        spacing: 10
                        KindIcon { symbol: "house.fill"; tint: Theme.accent; size: 56; Layout.alignment: Qt.AlignHCenter }
                        Text {
                            Layout.alignment: Qt.AlignHCenter
                            text: "PART OF JUNIPER SUITE"
                            color: Theme.tertiaryText
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.captionSize
                            font.letterSpacing: 1.2
                            font.weight: Font.DemiBold
                        }
                        Heading { text: "Welcome to Juniper Larder"; Layout.alignment: Qt.AlignHCenter }
                        Body {
                            text: "Your computer's files, finally easy to find. Your meetings, written up for you."
                            horizontalAlignment: Text.AlignHCenter
                            color: Theme.secondaryText
                        }
                        Item { implicitHeight: 8 }
                        Repeater {
                            model: [
                                {symbol: "sparkle.magnifyingglass", tint: "#2f6fe4", title: "Search in plain English", text: "“Find my home electricity plan” works, even for scanned PDFs and screenshots."},
                                {symbol: "arrow.down.circle.fill", tint: "#1fa37a", title: "Remember where files came from", text: "Gmail, Slack, ChatGPT, WhatsApp and more."},
                                {symbol: "waveform", tint: "#e0524f", title: "Meeting notes that write themselves", text: "Transcribed on your computer, answered from your files, written up by Claude."},
                                {symbol: "wand.and.sparkles", tint: "#a35ee8", title: "Tidy up safely", text: "Duplicates, old installers and forgotten downloads, always to the Trash first."},
                            ]
                            delegate: Feature {}
                        }
                    }
                }

                // The folders.
                ColumnLayout {
                    spacing: 12
                    Heading { text: "Your library" }
                    Body { text: "Larder indexes these folders. Everything stays on this computer: file names, metadata and the text inside documents and images are read locally." }
                    Rectangle {
                        Layout.fillWidth: true
                        implicitHeight: chosen.implicitHeight + 20
                        radius: Theme.radius
                        color: Theme.window
                        border.color: Theme.separator
                        FolderListView {
                            id: chosen
                            anchors.left: parent.left
                            anchors.right: parent.right
                            anchors.top: parent.top
                            anchors.margins: 10
                            visibleRows: card.height < 560 ? 3 : 5
                        }
                    }
                    Body { text: "You can change these any time in Settings."; color: Theme.secondaryText }
                    Item { Layout.fillHeight: true }
                }

                // Claude.
                Flickable {
                    id: connectPage
                    clip: true
                    contentHeight: connect.implicitHeight
                    boundsBehavior: Flickable.StopAtBounds
                    ColumnLayout {
                        id: connect
                        width: connectPage.width
                        spacing: 12
                        RowLayout {
                            spacing: 10
                            Icon { symbol: "sparkles"; size: 26; color: "#d97757" }
                            Heading { text: "Connect Claude" }
                        }
                        Body { text: "Claude powers plain-English search, meeting notes, live answers and Ask. If you're on a Claude Max or Team plan, your plan includes monthly API credits:" }
                        Repeater {
                            model: [
                                "In " + onboarding.claude.webSiteName + ", open Settings → Billing and link a Claude Console organization to claim your credits.",
                                "Create an API key in that organization's Console.",
                                "Paste it here. It's stored in your keyring.",
                            ]
                            delegate: RowLayout {
                                required property string modelData
                                required property int index
                                Layout.fillWidth: true
                                spacing: 10
                                Rectangle {
                                    Layout.alignment: Qt.AlignTop
                                    width: 22; height: 22; radius: 11
                                    color: Theme.selection
                                    Text {
                                        anchors.centerIn: parent
                                        text: index + 1
                                        color: Theme.accent
                                        font.family: Theme.fontFamily
                                        font.pixelSize: Theme.captionSize + 1
                                        font.weight: Font.DemiBold
                                    }
                                }
                                Body { text: modelData }
                            }
                        }
                        LinkLabel { text: "Open the Claude Console"; url: onboarding.claude.consoleKeysURL }
                        KeyField {
                            objectName: "onboardingKeyField"
                            Layout.fillWidth: true
                            placeholderText: "sk-ant-…"
                            text: onboarding.claude.key
                            enabled: !onboarding.checking
                            onTextEdited: onboarding.claude.key = text
                            onAccepted: onboarding.forward()
                        }
                        Text {
                            objectName: "onboardingKeyError"
                            visible: onboarding.keyError.length > 0
                            Layout.fillWidth: true
                            text: onboarding.keyError
                            color: Theme.danger
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.bodySize
                            wrapMode: Text.Wrap
                        }
                        RowLayout {
                            spacing: 8
                            Icon { symbol: "lock.fill"; size: 16; color: Theme.secondaryText }
                            Body { text: "No account with us. Larder talks straight to Anthropic with your own key."; color: Theme.secondaryText }
                        }
                    }
                }
            }

            // Where the steps stand, and the way on.
            RowLayout {
                Layout.fillWidth: true
                spacing: 8
                StyledButton {
                    objectName: "onboardingBack"
                    visible: onboarding.step > 0
                    enabled: !onboarding.checking
                    text: "Back"
                    bordered: true
                    onClicked: onboarding.step -= 1
                }
                Item { Layout.fillWidth: true }
                Row {
                    spacing: 6
                    Repeater {
                        model: 3
                        delegate: Rectangle {
                            required property int index
                            width: 7; height: 7; radius: 3.5
                            color: index === onboarding.step ? Theme.accent : Theme.separator
                        }
                    }
                }
                Item { Layout.fillWidth: true }
                Spinner { visible: onboarding.checking }
                StyledButton {
                    objectName: "onboardingForward"
                    prominent: true
                    enabled: !onboarding.checking
                    text: onboarding.step < 2 ? "Continue"
                        : onboarding.claude.key.trim().length === 0 ? "Skip for Now" : "Finish"
                    onClicked: onboarding.forward()
                }
            }
        }
    }

    component Heading: Text {
        color: Theme.text
        font.family: Theme.fontFamily
        font.pixelSize: Theme.titleSize
        font.weight: Font.Bold
    }
    component Body: Text {
        Layout.fillWidth: true
        color: Theme.text
        font.family: Theme.fontFamily
        font.pixelSize: Theme.bodySize
        wrapMode: Text.Wrap
        lineHeight: 1.15
    }
    component Feature: RowLayout {
        required property var modelData
        Layout.fillWidth: true
        Layout.leftMargin: 24
        Layout.rightMargin: 24
        spacing: 14
        KindIcon { symbol: modelData.symbol; tint: modelData.tint; size: 38; Layout.alignment: Qt.AlignTop }
        ColumnLayout {
            spacing: 2
            Layout.fillWidth: true
            Text {
                text: modelData.title
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize + 1
                font.weight: Font.DemiBold
            }
            Text {
                Layout.fillWidth: true
                text: modelData.text
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
                wrapMode: Text.Wrap
            }
        }
    }
}
