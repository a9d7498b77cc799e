import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Ask Larder: a conversation with Claude over the user's files and
// meetings. The turns and their answers come from the Ask model; this
// screen shows them, follows the newest text as it streams, and sends what
// the user types.
Item {
    id: screen
    objectName: "askScreen"
    readonly property var ask: app.ask
    readonly property real columnWidth: Math.min(width - 2 * Theme.padding, 780)
    readonly property var suggestions: [
        "When is the rent due under my lease?",
        "What did we decide in my last meeting?",
        "Which PDFs did I download last week?",
        "Find the Wi-Fi password in my screenshots",
    ]

    Binding { target: askTurns; property: "font"; value: Qt.font({family: Theme.fontFamily, pixelSize: Theme.bodySize + 1}) }
    Binding { target: askTurns; property: "linkColor"; value: Theme.accent }
    Binding { target: askTurns; property: "citationText"; value: Theme.accent }
    Binding {
        target: askTurns
        property: "citationBackground"
        value: Qt.tint(Theme.window, Qt.rgba(Theme.accent.r, Theme.accent.g, Theme.accent.b, Theme.dark ? 0.3 : 0.16))
    }

    function focusField() {
        if (field.visible)
            field.forceActiveFocus()
    }
    Component.onCompleted: focusField()

    PageHeader {
        id: header
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: Theme.padding + 4
        title: "Ask Larder"
        symbol: "sparkles"
        tint: Theme.accent
        StyledButton {
            objectName: "newChat"
            text: "New Chat"
            symbol: "square.and.pencil"
            bordered: true
            enabled: conversation.count > 0
            onClicked: { screen.ask.newChat(); screen.focusField() }
        }
    }

    // No turns yet: what Ask does, and questions to start from.
    Flickable {
        id: intro
        objectName: "askEmpty"
        anchors.top: header.bottom
        anchors.bottom: entry.top
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: Theme.padding
        visible: conversation.count === 0
        contentHeight: Math.max(height, introColumn.implicitHeight)
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        Column {
            id: introColumn
            width: Math.min(intro.width, 560)
            x: (intro.width - width) / 2
            y: Math.max(0, (intro.height - implicitHeight) / 2)
            spacing: 22
            EmptyStateView {
                width: parent.width
                symbol: "sparkles"
                title: "Ask about anything on your computer"
                message: "Claude looks through your documents, screenshots, meeting notes and transcripts, and shows you where each answer came from."
            }
            Column {
                width: parent.width
                visible: app.hasAPIKey
                spacing: 8
                Repeater {
                    model: screen.suggestions
                    SuggestionChip {
                        required property string modelData
                        required property int index
                        objectName: "askSuggestion:" + index
                        anchors.horizontalCenter: parent.horizontalCenter
                        text: modelData
                        onAction: screen.ask.send(modelData)
                    }
                }
            }
        }
    }

    // The conversation, following the newest text unless the user scrolled
    // away from it.
    ListView {
        id: conversation
        objectName: "askConversation"
        anchors.top: header.bottom
        anchors.bottom: entry.top
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.topMargin: Theme.padding
        anchors.bottomMargin: 8
        visible: count > 0
        model: askTurns
        clip: true
        spacing: 26
        boundsBehavior: Flickable.StopAtBounds
        cacheBuffer: 4000
        property bool following: true
        onMovementEnded: following = atYEnd
        onCountChanged: { following = true; Qt.callLater(positionViewAtEnd) }
        onContentHeightChanged: if (following) Qt.callLater(positionViewAtEnd)
        ScrollBar.vertical: ScrollBar {}
        header: Item { height: 4 }
        footer: Item { height: 16 }
        delegate: Item {
            id: row
            required property int index
            required property string question
            required property var steps
            required property string html
            required property string phase
            required property string error
            required property var sources
            width: conversation.width
            implicitHeight: view.implicitHeight
            AskTurnView {
                id: view
                width: screen.columnWidth
                x: (row.width - width) / 2
                index: row.index
                question: row.question
                steps: row.steps
                html: row.html
                phase: row.phase
                error: row.error
                sources: row.sources
            }
        }
    }

    // The entry row, or the way to a key when there is none.
    Item {
        id: entry
        anchors.bottom: parent.bottom
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottomMargin: Theme.padding
        width: screen.columnWidth
        implicitHeight: 48
        height: implicitHeight

        Rectangle {
            anchors.fill: parent
            visible: app.hasAPIKey
            radius: 24
            color: Theme.surface
            border.color: field.activeFocus ? Theme.accent : Theme.separator
            border.width: field.activeFocus ? 2 : 1
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 18
                anchors.rightMargin: 8
                spacing: 8
                TextField {
                    id: field
                    objectName: "askField"
                    Layout.fillWidth: true
                    text: screen.ask.input
                    placeholderText: "Ask about your files and meetings…"
                    placeholderTextColor: Theme.tertiaryText
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: 15
                    background: null
                    onTextEdited: screen.ask.input = text
                    onAccepted: screen.ask.send()
                }
                // Send, or stop while an answer is coming.
                Rectangle {
                    id: sendButton
                    objectName: "askSend"
                    readonly property bool stops: screen.ask.isBusy
                    readonly property bool active: stops || field.text.trim().length > 0
                    implicitWidth: 34
                    implicitHeight: 34
                    radius: 17
                    color: active ? (sendMouse.containsMouse ? Qt.lighter(Theme.accent, 1.08) : Theme.accent) : Theme.well
                    Accessible.role: Accessible.Button
                    Accessible.name: stops ? "Stop" : "Send"
                    Icon {
                        anchors.centerIn: parent
                        symbol: sendButton.stops ? "stop.fill" : "arrow.up"
                        size: 19
                        color: sendButton.active ? Theme.accentText : Theme.tertiaryText
                    }
                    MouseArea {
                        id: sendMouse
                        anchors.fill: parent
                        hoverEnabled: true
                        cursorShape: sendButton.active ? Qt.PointingHandCursor : Qt.ArrowCursor
                        onClicked: {
                            if (sendButton.stops)
                                screen.ask.stop()
                            else
                                screen.ask.send()
                            field.forceActiveFocus()
                        }
                    }
                }
            }
        }

        Rectangle {
            objectName: "askAddKey"
            anchors.fill: parent
            visible: !app.hasAPIKey
            radius: 24
            color: keyMouse.containsMouse ? Qt.lighter(Theme.accent, 1.08) : Theme.accent
            RowLayout {
                anchors.centerIn: parent
                spacing: 10
                Icon { symbol: "key.fill"; size: 18; color: Theme.accentText }
                Text {
                    text: "Add your Claude API key to start"
                    color: Theme.accentText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize + 1
                    font.weight: Font.DemiBold
                }
                Icon { symbol: "arrow.up.right"; size: 16; color: Theme.accentText }
            }
            MouseArea {
                id: keyMouse
                anchors.fill: parent
                hoverEnabled: true
                cursorShape: Qt.PointingHandCursor
                onClicked: shell.showSettings("claude")
            }
        }
    }
}
