import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// "Downloaded From": a tile for each place files were downloaded from, with
// how many files and bytes came from it; a tile lists that source's files,
// newest first, until the back button.
Item {
    id: screen
    objectName: "sourcesScreen"
    readonly property string sourceID: app.selectedSource
    readonly property var chosen: {
        for (const source of library.sources) {
            if (source.id === sourceID)
                return source
        }
        return null
    }

    // The files of the chosen source.
    Loader {
        anchors.fill: parent
        active: screen.sourceID.length > 0
        sourceComponent: ListingScreen {
            key: "sources"
            sourceID: screen.sourceID
            sourceName: screen.chosen ? screen.chosen.name : screen.sourceID
            sourceSymbol: screen.chosen ? screen.chosen.symbol : "globe"
            onBack: app.selectedSource = ""
        }
    }

    // The overview of sources.
    ColumnLayout {
        anchors.fill: parent
        visible: screen.sourceID.length === 0
        spacing: 0

        PageHeader {
            Layout.fillWidth: true
            Layout.margins: Theme.padding
            Layout.bottomMargin: 12
            title: "Downloaded From"
            subtitle: "Every download remembers where it came from."
            symbol: "arrow.down.circle.fill"
            tint: "#1fa37a"
        }
        Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: library.sources.length === 0
            EmptyStateView {
                objectName: "noSources"
                anchors.centerIn: parent
                width: Math.min(parent.width - 40, 480)
                symbol: "arrow.down.circle"
                title: "No download history yet"
                message: "Files saved from your browser, Slack, WhatsApp and other apps will be grouped here by where they came from."
            }
        }

        GridView {
            id: grid
            objectName: "sourceGrid"
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.margins: Theme.padding
            visible: library.sources.length > 0
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            readonly property int columns: Math.max(1, Math.floor(width / 230))
            cellWidth: width / columns
            cellHeight: 86
            model: library.sources
            ScrollBar.vertical: ScrollBar {}
            delegate: Item {
                required property var modelData
                width: grid.cellWidth
                height: grid.cellHeight
                Rectangle {
                    objectName: "sourceTile:" + modelData.id
                    anchors.fill: parent
                    anchors.margins: 6
                    radius: Theme.radius
                    color: tileMouse.containsMouse ? Theme.hover : Theme.surface
                    border.color: Theme.separator
                    RowLayout {
                        anchors.fill: parent
                        anchors.margins: 14
                        spacing: 12
                        SourceIcon { symbol: modelData.symbol; tint: Theme.sourceColor(modelData.id); size: 40 }
                        ColumnLayout {
                            Layout.fillWidth: true
                            spacing: 3
                            Text {
                                Layout.fillWidth: true
                                text: modelData.name
                                color: Theme.text
                                font.family: Theme.fontFamily
                                font.pixelSize: Theme.bodySize + 1
                                font.weight: Font.DemiBold
                                elide: Text.ElideRight
                            }
                            Text {
                                Layout.fillWidth: true
                                text: shell.counted(modelData.count, "file")
                                      + " · " + modelData.bytesText
                                color: Theme.secondaryText
                                font.family: Theme.fontFamily
                                font.pixelSize: Theme.captionSize + 1
                                elide: Text.ElideRight
                            }
                        }
                    }
                    MouseArea {
                        id: tileMouse
                        anchors.fill: parent
                        hoverEnabled: true
                        cursorShape: Qt.PointingHandCursor
                        onClicked: app.selectedSource = modelData.id
                    }
                }
            }
        }
    }
}
