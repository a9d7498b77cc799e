import QtQuick
import QtQuick.Layouts

// One question and its answer: the question, the lookups the agent made,
// "Thinking" until text arrives, the answer as it streams with its source
// chips, what went wrong, and the sources it cites once it has ended.
ColumnLayout {
    id: turn
    required property int index
    required property string question
    required property var steps
    required property string html
    required property string phase
    required property string error
    required property var sources
    readonly property bool ended: phase === "answered" || phase === "failed" || phase === "stopped"
    objectName: "askTurn:" + index
    spacing: 10

    // The question, on the right as the user's own words.
    Rectangle {
        Layout.alignment: Qt.AlignRight
        Layout.maximumWidth: turn.width * 0.8
        implicitWidth: questionText.implicitWidth + 28
        implicitHeight: questionText.implicitHeight + 18
        radius: 14
        color: Theme.selection
        TextEdit {
            id: questionText
            objectName: "askQuestion:" + turn.index
            x: 14
            y: 9
            width: Math.min(implicitWidth, turn.width * 0.8 - 28)
            text: turn.question
            readOnly: true
            selectByMouse: true
            wrapMode: TextEdit.Wrap
            color: Theme.text
            selectionColor: Theme.accent
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize + 1
        }
    }

    // What the agent looked up.
    ColumnLayout {
        Layout.fillWidth: true
        visible: turn.steps.length > 0
        spacing: 4
        Repeater {
            model: turn.steps
            RowLayout {
                required property string modelData
                required property int index
                Layout.fillWidth: true
                spacing: 6
                Icon { symbol: "magnifyingglass"; size: 14; color: Theme.tertiaryText }
                Text {
                    objectName: "askStep:" + turn.index + ":" + index
                    Layout.fillWidth: true
                    text: modelData
                    color: Theme.secondaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.captionSize + 1
                    elide: Text.ElideRight
                }
            }
        }
    }

    // Waiting for the first words.
    RowLayout {
        objectName: "askThinking:" + turn.index
        visible: turn.phase === "waiting"
        spacing: 6
        Icon { symbol: "sparkle"; size: 15; color: Theme.accent }
        Text {
            text: "Thinking"
            color: Theme.secondaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
        }
        PulsingDot { tint: Theme.accent }
    }

    // The answer, rendered as it streams.
    TextEdit {
        id: answer
        objectName: "askAnswer:" + turn.index
        Layout.fillWidth: true
        visible: turn.html.length > 0
        text: turn.html
        textFormat: TextEdit.RichText
        readOnly: true
        selectByMouse: true
        wrapMode: TextEdit.Wrap
        color: Theme.text
        selectionColor: Theme.accent
        selectedTextColor: Theme.accentText
        font.family: Theme.fontFamily
        font.pixelSize: Theme.bodySize + 1
        onLinkActivated: link => {
            // A press on a chip selects nothing.
            deselect()
            askTurns.openLink(turn.index, link)
        }
        HoverHandler { cursorShape: answer.hoveredLink.length > 0 ? Qt.PointingHandCursor : Qt.IBeamCursor }
    }

    // What went wrong, under what had streamed in.
    RowLayout {
        Layout.fillWidth: true
        visible: turn.error.length > 0
        spacing: 8
        Icon { Layout.alignment: Qt.AlignTop; symbol: "exclamationmark.triangle.fill"; size: 16; color: Theme.danger }
        Text {
            objectName: "askError:" + turn.index
            Layout.fillWidth: true
            text: turn.error
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
            wrapMode: Text.Wrap
        }
    }

    // The sources the answer cites, in the order it cites them.
    ColumnLayout {
        Layout.fillWidth: true
        Layout.topMargin: 2
        visible: turn.ended && turn.sources.length > 0
        spacing: 2
        Text {
            text: "Sources"
            color: Theme.tertiaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.captionSize
            font.weight: Font.DemiBold
            font.capitalization: Font.AllUppercase
        }
        Repeater {
            model: turn.ended ? turn.sources : []
            Rectangle {
                id: source
                required property var modelData
                objectName: "askSource:" + turn.index + ":" + modelData.number
                Layout.fillWidth: true
                implicitHeight: 34
                radius: Theme.smallRadius
                color: sourceMouse.containsMouse ? Theme.hover : "transparent"
                RowLayout {
                    anchors.fill: parent
                    anchors.leftMargin: 6
                    anchors.rightMargin: 8
                    spacing: 10
                    Rectangle {
                        implicitWidth: Math.max(20, numberText.implicitWidth + 10)
                        implicitHeight: 20
                        radius: 10
                        color: Qt.tint(Theme.window, Qt.rgba(Theme.accent.r, Theme.accent.g, Theme.accent.b, 0.2))
                        Text {
                            id: numberText
                            anchors.centerIn: parent
                            text: source.modelData.number
                            color: Theme.accent
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.captionSize
                            font.weight: Font.DemiBold
                        }
                    }
                    Icon {
                        symbol: source.modelData.kind === "file" ? "doc.fill" : "waveform"
                        size: 16
                        color: Theme.secondaryText
                    }
                    Text {
                        text: source.modelData.title
                        color: Theme.text
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.bodySize
                        elide: Text.ElideMiddle
                        Layout.preferredWidth: implicitWidth
                        Layout.minimumWidth: 60
                    }
                    Text {
                        text: source.modelData.detail
                        color: Theme.secondaryText
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.captionSize + 1
                        elide: Text.ElideMiddle
                        Layout.fillWidth: true
                    }
                }
                MouseArea {
                    id: sourceMouse
                    anchors.fill: parent
                    hoverEnabled: true
                    cursorShape: Qt.PointingHandCursor
                    onClicked: askTurns.openSource(turn.index, source.modelData.number)
                }
            }
        }
    }
}
