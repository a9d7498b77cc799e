import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Search in plain English: the field, what Claude is doing, the chips of
// what was understood, Claude's best matches with their reasons and the
// other results below them. The order and overlay of the lists come from
// the search model; this screen only shows them.
Item {
    id: screen
    objectName: "searchScreen"
    readonly property var search: app.search
    readonly property string phase: searchResults.phase
    readonly property bool hasText: search.text.trim().length > 0
    readonly property bool busy: phase === "searching" || phase === "understanding" || phase === "ranking"
    readonly property bool nothingFound: hasText && !busy && searchResults.ranked.count === 0 && searchResults.others.count === 0
    // The file chosen for the inspector; -1 for none.
    property var selectedID: -1

    function focusField() {
        field.forceActiveFocus()
        field.selectAll()
        app.focusSearchField = false
    }
    Connections {
        target: app
        function onFocusSearchFieldChanged() { if (app.focusSearchField) screen.focusField() }
    }
    Component.onCompleted: if (app.focusSearchField) focusField()

    function choose(fileID, record) {
        selectedID = fileID
        app.inspect(record)
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.padding
        spacing: 12

        // The field.
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 46
            radius: 23
            color: Theme.surface
            border.color: field.activeFocus ? Theme.accent : Theme.separator
            border.width: field.activeFocus ? 2 : 1
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 16
                anchors.rightMargin: 12
                spacing: 10
                Icon { symbol: "sparkle.magnifyingglass"; size: 20; color: Theme.accent }
                TextField {
                    id: field
                    objectName: "searchField"
                    Layout.fillWidth: true
                    text: screen.search.text
                    placeholderText: "Describe what you're looking for"
                    placeholderTextColor: Theme.tertiaryText
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.headingSize
                    background: null
                    onTextEdited: screen.search.text = text
                    onAccepted: screen.search.submit()
                }
                Icon {
                    objectName: "clearSearch"
                    visible: field.text.length > 0
                    symbol: "xmark.circle.fill"
                    size: 18
                    color: Theme.tertiaryText
                    Accessible.name: "Clear"
                    MouseArea {
                        anchors.fill: parent
                        anchors.margins: -4
                        cursorShape: Qt.PointingHandCursor
                        onClicked: { screen.search.text = ""; field.forceActiveFocus() }
                    }
                }
            }
        }

        // What Claude is doing, or what it did.
        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: 6
            visible: screen.hasText && status.text.length > 0
            spacing: 8
            Shimmer {
                visible: screen.phase === "understanding" || screen.phase === "ranking"
                implicitWidth: 60; implicitHeight: 10
            }
            Icon {
                visible: screen.phase === "failed"
                symbol: "exclamationmark.triangle.fill"
                size: 16
                color: Theme.danger
            }
            Text {
                id: status
                objectName: "searchStatus"
                Layout.fillWidth: true
                text: ({
                    understanding: "Claude is reading your request…",
                    ranking: "Ranking the best matches…",
                    failed: screen.search.failureText,
                })[screen.phase] || (searchResults.ranked.count > 0 ? "Ranked by Claude"
                      : app.settings.aiSearchEnabled && app.hasAPIKey ? "Press Return to ask Claude" : "")
                color: screen.phase === "failed" ? Theme.text : Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.captionSize + 1
                wrapMode: Text.Wrap
            }
            StyledButton {
                objectName: "retrySearch"
                visible: screen.phase === "failed"
                text: "Retry"
                bordered: true
                onClicked: screen.search.submit()
            }
        }

        // How the request was understood.
        RowLayout {
            Layout.fillWidth: true
            visible: screen.hasText && screen.search.summary.length > 0
            spacing: 8
            AIBadge { label: "Understood by Claude" }
            Text {
                objectName: "searchSummary"
                Layout.fillWidth: true
                text: screen.search.summary
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.captionSize + 1
                elide: Text.ElideRight
            }
        }
        Flow {
            Layout.fillWidth: true
            visible: screen.hasText && screen.search.chips.length > 0
            spacing: 6
            Repeater {
                model: screen.hasText ? screen.search.chips : []
                Chip {
                    required property var modelData
                    required property int index
                    objectName: "searchChip:" + index
                    label: modelData.label
                    symbol: modelData.symbol
                    tint: modelData.tint
                    removable: true
                    onRemove: screen.search.removeChip(index)
                }
            }
        }

        // The results: Claude's picks, then the other results. The two lists
        // of other results take turns: the one out of sight makes and lays
        // out the rows of results that are in before the typing pause ends,
        // and the end of the pause brings it forward.
        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: screen.hasText && !screen.nothingFound
            Repeater {
                model: searchResults.otherPages
                SearchResultList {
                    required property var modelData
                    anchors.fill: parent
                    hits: modelData
                    shown: modelData === searchResults.others
                    selectedID: screen.selectedID
                    onChosen: (fileID, record) => screen.choose(fileID, record)
                }
            }
        }

        // Nothing found.
        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: screen.nothingFound
            EmptyStateView {
                id: nothingFound
                objectName: "searchNothingFound"
                anchors.centerIn: parent
                width: Math.min(parent.width - 40, 480)
                symbol: "magnifyingglass"
                title: "No matches for “" + screen.search.text.trim() + "”"
                message: app.hasAPIKey ? "Try describing what's inside the file, or remove a filter."
                                       : "Try other words, or add a Claude API key in Settings for smarter search."
            }
            // A misspelt word: the library's own word, one press away.
            StyledButton {
                objectName: "searchSuggestion"
                visible: screen.search.suggestion.length > 0
                anchors.top: nothingFound.bottom
                anchors.topMargin: 12
                anchors.horizontalCenter: parent.horizontalCenter
                bordered: true
                text: "Did you mean “" + screen.search.suggestion + "”?"
                onClicked: screen.search.text = screen.search.suggestion
            }
        }

        // An empty field: what can be asked.
        Flickable {
            id: examples
            objectName: "searchExamples"
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: !screen.hasText
            contentHeight: exampleColumn.implicitHeight
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            ColumnLayout {
                id: exampleColumn
                width: Math.min(examples.width, 720)
                x: (examples.width - width) / 2
                spacing: 18
                Text {
                    Layout.topMargin: 30
                    Layout.fillWidth: true
                    text: "Ask in plain English"
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.titleSize
                    font.weight: Font.DemiBold
                    horizontalAlignment: Text.AlignHCenter
                }
                Text {
                    Layout.fillWidth: true
                    text: "Larder reads the text inside your documents, screenshots and scanned PDFs, so you can describe what a file says, not just what it's called."
                    color: Theme.secondaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                    horizontalAlignment: Text.AlignHCenter
                    wrapMode: Text.Wrap
                    lineHeight: 1.25
                }
                Repeater {
                    model: [
                        {title: "Describe it", symbol: "text.quote", examples: ["find me a file that has my home electricity plan", "the lease agreement for the apartment"]},
                        {title: "Filter it", symbol: "line.3.horizontal.decrease", examples: ["screenshots from yesterday", "videos larger than 1 gb"]},
                        {title: "Remember where it came from", symbol: "arrow.down.circle", examples: ["images downloaded from chatgpt", "zip files from slack"]},
                    ]
                    ColumnLayout {
                        required property var modelData
                        Layout.fillWidth: true
                        spacing: 8
                        RowLayout {
                            spacing: 8
                            Icon { symbol: modelData.symbol; size: 16; color: Theme.accent }
                            Text {
                                text: modelData.title
                                color: Theme.text
                                font.family: Theme.fontFamily
                                font.pixelSize: Theme.bodySize
                                font.weight: Font.DemiBold
                            }
                        }
                        Flow {
                            Layout.fillWidth: true
                            spacing: 8
                            Repeater {
                                model: modelData.examples
                                SuggestionChip {
                                    required property string modelData
                                    text: modelData
                                    onAction: {
                                        if (screen.search.text !== modelData)
                                            screen.search.text = modelData
                                        field.forceActiveFocus()
                                    }
                                }
                            }
                        }
                    }
                }
            }
        }
    }
}
