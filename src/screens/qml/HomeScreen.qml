import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The overview of the library: a greeting, the search field, the kinds, the
// storage they take, what could be tidied, the newest files and where
// downloads came from.
Flickable {
    id: home
    objectName: "homeScreen"
    contentHeight: page.implicitHeight + 2 * Theme.padding + 16
    clip: true
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: ScrollBar {}

    readonly property bool indexing: app.indexing.statusText.startsWith("Scanning") || app.indexing.statusText.startsWith("Reading")
    readonly property real pageWidth: Math.min(width - 2 * (Theme.padding + 8), 1080)

    // The search screen with the request filled in.
    function search(text) {
        if (text.trim().length > 0)
            app.search.text = text
        app.showSearch()
    }

    Component.onCompleted: library.refreshCleanup()

    ColumnLayout {
        id: page
        x: (home.width - home.pageWidth) / 2
        y: Theme.padding + 8
        width: home.pageWidth
        spacing: 22

        ColumnLayout {
            spacing: 4
            Text {
                objectName: "homeGreeting"
                text: shell.greeting()
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: 28
                font.weight: Font.Bold
            }
            Text {
                objectName: "homeSubtitle"
                text: library.totalCount === 0
                      ? (home.indexing ? "Getting to know your computer…" : "Your files, beautifully organised.")
                      : shell.counted(library.totalCount, "file") + " across your computer"
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.headingSize - 1
            }
        }

        // Until onboarding is done nothing is indexed: the welcome says what
        // will be read and starts it.
        Card {
            objectName: "welcome"
            visible: app.showOnboarding
            Layout.fillWidth: true
            implicitHeight: welcomeRow.implicitHeight + 32
            RowLayout {
                id: welcomeRow
                width: parent.width
                spacing: 16
                KindIcon { symbol: "sparkles"; tint: "#a259e6"; size: 48 }
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 3
                    Text {
                        text: "Welcome to Juniper Larder"
                        color: Theme.text
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.headingSize
                        font.weight: Font.DemiBold
                    }
                    Text {
                        Layout.fillWidth: true
                        text: "Larder indexes these folders. Everything stays on this computer: file names, metadata and the text inside documents and images are read locally."
                        color: Theme.secondaryText
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.bodySize
                        wrapMode: Text.Wrap
                    }
                    Text {
                        Layout.fillWidth: true
                        // Folders by name; the full paths are in Settings.
                        text: app.settings.indexedFolders.map(path => path.split("/").pop() || path).join("  ·  ")
                        color: Theme.tertiaryText
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.captionSize
                        wrapMode: Text.Wrap
                    }
                }
                StyledButton {
                    text: "Start Indexing"
                    prominent: true
                    onClicked: app.completeOnboarding()
                }
            }
        }

        // The search field leads to the search screen.
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 12
            Rectangle {
                Layout.fillWidth: true
                implicitHeight: 50
                radius: 25
                color: Theme.surface
                border.color: heroField.activeFocus ? Theme.accent : Theme.separator
                border.width: heroField.activeFocus ? 2 : 1
                RowLayout {
                    anchors.fill: parent
                    anchors.leftMargin: 18
                    anchors.rightMargin: 18
                    spacing: 10
                    Icon { symbol: "sparkle.magnifyingglass"; size: 22; color: Theme.accent }
                    TextField {
                        id: heroField
                        objectName: "homeSearchField"
                        Layout.fillWidth: true
                        placeholderText: "Find anything… try “my home electricity plan”"
                        placeholderTextColor: Theme.tertiaryText
                        color: Theme.text
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.headingSize - 1
                        background: null
                        onAccepted: home.search(text)
                    }
                }
            }
            Flow {
                Layout.fillWidth: true
                spacing: 8
                Repeater {
                    model: ["my home electricity plan", "pdfs from last week over 5 mb", "screenshots with a wifi password", "invoices from gmail", "videos over 1 gb"]
                    SuggestionChip { required property string modelData; text: modelData; onAction: home.search(modelData) }
                }
            }
        }

        // One tile a kind.
        GridLayout {
            Layout.fillWidth: true
            columns: home.pageWidth > 900 ? 4 : 3
            columnSpacing: 12
            rowSpacing: 12
            Repeater {
                model: library.kindStats
                delegate: Rectangle {
                    required property var modelData
                    Layout.fillWidth: true
                    implicitHeight: 76
                    radius: Theme.radius
                    color: tileMouse.containsMouse ? Qt.darker(Theme.surface, Theme.dark ? 0.9 : 1.02) : Theme.surface
                    border.color: Theme.separator
                    RowLayout {
                        anchors.fill: parent
                        anchors.margins: 14
                        spacing: 12
                        KindIcon { symbol: modelData.symbol; tint: modelData.tint; size: 42 }
                        ColumnLayout {
                            Layout.fillWidth: true
                            spacing: 2
                            Text {
                                text: modelData.title
                                color: Theme.text
                                font.family: Theme.fontFamily
                                font.pixelSize: Theme.bodySize + 1
                                font.weight: Font.DemiBold
                            }
                            Text {
                                objectName: "categoryCount:" + modelData.key
                                Layout.fillWidth: true
                                text: modelData.count > 0 ? shell.counted(modelData.count, "item") + " · " + modelData.bytesText : "No files yet"
                                color: Theme.secondaryText
                                font.family: Theme.fontFamily
                                font.pixelSize: Theme.captionSize + 1
                                elide: Text.ElideRight
                            }
                        }
                    }
                    MouseArea { id: tileMouse; anchors.fill: parent; hoverEnabled: true; cursorShape: Qt.PointingHandCursor; onClicked: app.selection = modelData.key }
                }
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 14

            // Storage by kind.
            Card {
                Layout.fillWidth: true
                Layout.preferredWidth: 100 // takes what the insights leave
                Layout.alignment: Qt.AlignTop
                implicitHeight: Math.max(storageColumn.implicitHeight + 32, 206)
                ColumnLayout {
                    id: storageColumn
                    width: parent.width
                    spacing: 14
                    SectionHeader { Layout.fillWidth: true; title: "Storage" }
                    Row {
                        Layout.fillWidth: true
                        height: 14
                        spacing: 0
                        clip: true
                        Rectangle { visible: library.totalBytes === 0; width: parent.width; height: 14; radius: 7; color: Theme.well }
                        Repeater {
                            model: library.totalBytes > 0 ? library.kindStats : []
                            Rectangle {
                                required property var modelData
                                visible: modelData.bytes > 0
                                width: Math.max(3, parent.width * modelData.bytes / library.totalBytes)
                                height: 14
                                color: Theme.tint(modelData.tint)
                            }
                        }
                    }
                    Flow {
                        Layout.fillWidth: true
                        spacing: 14
                        Repeater {
                            model: library.kindStats
                            Row {
                                required property var modelData
                                visible: modelData.bytes > 0
                                spacing: 5
                                Rectangle { width: 9; height: 9; radius: 4.5; color: Theme.tint(modelData.tint); anchors.verticalCenter: parent.verticalCenter }
                                Text { text: modelData.title + " " + modelData.bytesText; color: Theme.secondaryText; font.family: Theme.fontFamily; font.pixelSize: Theme.captionSize }
                            }
                        }
                    }
                    Text {
                        objectName: "storageTotal"
                        text: library.totalBytesText + " indexed"
                        color: Theme.text
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.bodySize
                        font.weight: Font.DemiBold
                    }
                }
            }

            // What could be tidied, and meetings.
            ColumnLayout {
                Layout.fillWidth: false
                Layout.preferredWidth: Math.max(340, home.pageWidth * 0.36)
                Layout.alignment: Qt.AlignTop
                spacing: 10
                InsightCard {
                    Layout.fillWidth: true
                    symbol: "wand.and.sparkles"; tint: "#c04fd8"; title: "Clean Up"
                    value: library.cleanup.length > 0 ? library.reclaimableText : "All tidy"
                    detail: library.cleanup.length > 0 ? "you could free up safely" : "Nothing obvious to remove"
                    onAction: app.selection = "cleanup"
                }
                InsightCard {
                    Layout.fillWidth: true
                    symbol: "square.on.square.fill"; tint: "#e0a100"; title: "Duplicates"
                    value: "Scan"; detail: "Find identical files and similar photos"
                    onAction: app.selection = "duplicates"
                }
                InsightCard {
                    Layout.fillWidth: true
                    symbol: "waveform"; tint: "#ec4a6a"; title: "Meetings"
                    value: "Record"; detail: "Transcribed on your computer, written up by Claude"
                    onAction: app.selection = "meetings"
                }
            }
        }

        // The newest files.
        Card {
            Layout.fillWidth: true
            implicitHeight: recentColumn.implicitHeight + 32
            ColumnLayout {
                id: recentColumn
                width: parent.width
                spacing: 10
                SectionHeader {
                    Layout.fillWidth: true
                    title: "Recent"
                    StyledButton { text: "See all"; onClicked: app.selection = "recents" }
                }
                Text {
                    visible: library.recents.length === 0
                    text: home.indexing ? "Your recent files will appear here in a moment." : "No recent files yet."
                    color: Theme.secondaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                    Layout.bottomMargin: 8
                }
                Flow {
                    Layout.fillWidth: true
                    spacing: 4
                    Repeater {
                        model: library.recents.slice(0, Math.max(1, Math.floor(recentColumn.width / 126)) * 2)
                        FileTile {
                            required property var modelData
                            file: modelData
                            size: 92
                            onActivated: app.previewFile(modelData.record, [])
                            onPressed: app.inspect(modelData.record)
                        }
                    }
                }
            }
        }

        // Where downloads came from.
        Card {
            visible: library.sources.length > 0
            Layout.fillWidth: true
            implicitHeight: sourcesColumn.implicitHeight + 32
            ColumnLayout {
                id: sourcesColumn
                width: parent.width
                spacing: 12
                SectionHeader {
                    Layout.fillWidth: true
                    title: "Downloaded from"
                    subtitle: "Find files by where they came from, not what they're called"
                    StyledButton { text: "See all"; onClicked: app.selection = "sources" }
                }
                Flow {
                    Layout.fillWidth: true
                    spacing: 10
                    Repeater {
                        model: library.sources.slice(0, 8)
                        Rectangle {
                            required property var modelData
                            implicitWidth: sourceRow.implicitWidth + 24
                            implicitHeight: 44
                            radius: Theme.radius
                            color: sourceMouse.containsMouse ? Theme.hover : Theme.well
                            Row {
                                id: sourceRow
                                anchors.centerIn: parent
                                spacing: 8
                                SourceIcon { symbol: modelData.symbol; tint: Theme.sourceColor(modelData.id); size: 26 }
                                Column {
                                    anchors.verticalCenter: parent.verticalCenter
                                    Text { text: modelData.name; color: Theme.text; font.family: Theme.fontFamily; font.pixelSize: Theme.bodySize }
                                    Text { text: shell.counted(modelData.count, "file"); color: Theme.tertiaryText; font.family: Theme.fontFamily; font.pixelSize: Theme.captionSize }
                                }
                            }
                            MouseArea {
                                id: sourceMouse
                                anchors.fill: parent
                                hoverEnabled: true
                                onClicked: { app.selectedSource = modelData.id; app.selection = "sources" }
                            }
                        }
                    }
                }
            }
        }
    }
}
