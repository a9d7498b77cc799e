import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// About Juniper Larder: the name and version, what it promises, and the
// libraries it is built on with their licences.
Popup {
    id: sheet
    // The libraries and programs Larder uses, as their Debian packages
    // state their licences.
    readonly property var credits: [
        {name: "Qt 6", use: "the window, threads, images, D-Bus", licence: "LGPL-3 or GPL-2"},
        {name: "SQLite", use: "the library file and its full-text search", licence: "Public domain"},
        {name: "Poppler", use: "text and pages of PDFs", licence: "GPL-2 or GPL-3"},
        {name: "Tesseract", use: "text in images and scans", licence: "Apache-2.0"},
        {name: "Leptonica", use: "images for text recognition", licence: "BSD-2-clause"},
        {name: "libzip", use: "office and OpenDocument files", licence: "BSD-3-clause"},
        {name: "libheif", use: "HEIC photos", licence: "LGPL-3+"},
        {name: "FFmpeg (libavformat, libavcodec, libswscale)", use: "audio and video facts, video frames", licence: "LGPL-2.1+"},
        {name: "GLib and GIO", use: "recent files and download addresses", licence: "LGPL-2.1+"},
        {name: "shared-mime-info", use: "the type of every file", licence: "GPL-2+"},
        {name: "libcurl", use: "talking to Claude", licence: "curl (MIT style)"},
        {name: "QtKeychain", use: "the API key in the keyring", licence: "BSD-2-clause"},
        {name: "OpenSSL", use: "file digests for duplicates", licence: "Apache-2.0"},
        {name: "PulseAudio client library", use: "the microphone and call audio", licence: "LGPL-2.1+"},
        {name: "libsamplerate", use: "audio for the speech model", licence: "BSD-2-clause"},
        {name: "ONNX Runtime", use: "the on-device speech model", licence: "MIT"},
        {name: "Moonshine tiny", use: "English speech recognition", licence: "MIT"},
        {name: "Silero VAD", use: "telling speech from silence", licence: "MIT"},
        {name: "Llama tokenizer vocabulary (llama-tokenizer-js)", use: "the speech model's words", licence: "MIT"},
        {name: "Material Design Icons font", use: "the symbols", licence: "Apache-2.0"},
        {name: "unrtf", use: "rich text documents", licence: "GPL-3"},
        {name: "antiword and catdoc", use: "old Word documents", licence: "GPL-2"},
    ]

    parent: Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(560, parent.width - 48)
    height: Math.min(680, parent.height - 48)
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

    contentItem: Item {
        objectName: "about"
        StyledButton {
            objectName: "closeAbout"
            z: 1
            anchors.right: parent.right
            anchors.top: parent.top
            anchors.margins: 8
            symbol: "xmark"
            toolTip: "Close"
            onClicked: sheet.close()
        }
        Flickable {
            id: page
            anchors.fill: parent
            clip: true
            contentHeight: column.implicitHeight + 56
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar {}
            ColumnLayout {
                id: column
                x: 28
                y: 28
                width: page.width - 56
                spacing: 10

                KindIcon { symbol: "house.fill"; tint: "#2f6fe4"; size: 64; Layout.alignment: Qt.AlignHCenter }
                Text {
                    Layout.alignment: Qt.AlignHCenter
                    text: "Juniper Larder"
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.titleSize
                    font.weight: Font.Bold
                }
                Text {
                    objectName: "aboutVersion"
                    Layout.alignment: Qt.AlignHCenter
                    text: "Version " + shell.version
                    color: Theme.secondaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                }
                Text {
                    Layout.fillWidth: true
                    horizontalAlignment: Text.AlignHCenter
                    text: "Your computer's files, easy to find. Your meetings, written up for you."
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                    wrapMode: Text.Wrap
                }
                Item { implicitHeight: 6 }
                Repeater {
                    model: [
                        {symbol: "lock.fill", tint: "#2fa360", title: "Your library stays on this computer.", text: "Indexing, text recognition, duplicates and transcription all run locally."},
                        {symbol: "sparkles", tint: "#d97757", title: "Claude, with your own key.", text: "AI features talk straight to Anthropic. No account with us, no relay, no telemetry."},
                        {symbol: "gift.fill", tint: "#a35ee8", title: "Free, no strings.", text: "Bring your Claude API key; Max and Team plans include monthly credits."},
                    ]
                    delegate: RowLayout {
                        required property var modelData
                        Layout.fillWidth: true
                        spacing: 12
                        KindIcon { symbol: modelData.symbol; tint: modelData.tint; size: 34; Layout.alignment: Qt.AlignTop }
                        ColumnLayout {
                            spacing: 1
                            Layout.fillWidth: true
                            Text {
                                text: modelData.title
                                color: Theme.text
                                font.family: Theme.fontFamily
                                font.pixelSize: Theme.bodySize
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
                Item { implicitHeight: 6 }
                SettingsGroup {
                    objectName: "credits"
                    Layout.fillWidth: true
                    title: "Acknowledgements"
                    caption: "Juniper Larder is independent of Anthropic. Claude is a trademark of Anthropic, PBC."
                    Repeater {
                        model: sheet.credits
                        delegate: RowLayout {
                            required property var modelData
                            Layout.fillWidth: true
                            spacing: 10
                            ColumnLayout {
                                spacing: 0
                                Layout.fillWidth: true
                                Text {
                                    Layout.fillWidth: true
                                    text: modelData.name
                                    color: Theme.text
                                    font.family: Theme.fontFamily
                                    font.pixelSize: Theme.bodySize
                                    elide: Text.ElideRight
                                }
                                Text {
                                    Layout.fillWidth: true
                                    text: modelData.use
                                    color: Theme.secondaryText
                                    font.family: Theme.fontFamily
                                    font.pixelSize: Theme.captionSize
                                    elide: Text.ElideRight
                                }
                            }
                            Text {
                                text: modelData.licence
                                color: Theme.secondaryText
                                font.family: Theme.fontFamily
                                font.pixelSize: Theme.captionSize + 1
                            }
                        }
                    }
                }
            }
        }
    }
}
