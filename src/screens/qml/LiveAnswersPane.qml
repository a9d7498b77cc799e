import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The questions heard during the call with their answers from the user's
// files and meetings, and the question being looked up now.
Item {
    id: pane
    required property var session
    // Beside the transcript: narrower, without the empty state.
    property bool compact: false
    readonly property bool empty: session.answers.length === 0 && session.answering.length === 0

    Item {
        anchors.fill: parent
        visible: pane.empty && !pane.compact
        EmptyStateView {
            objectName: "noAnswers"
            anchors.centerIn: parent
            width: Math.min(parent.width - 40, 460)
            symbol: "lightbulb"
            title: "Answers, right when you need them"
            message: !app.hasAPIKey ? "Add a Claude API key in Settings to get answers from your files during meetings."
                   : !app.settings.liveAnswersEnabled ? "Live answers are turned off in Settings."
                   : "When someone asks a question that your files or past meetings can answer, like a price, a date or a decision, the answer appears here with its sources."
        }
    }

    ListView {
        id: answers
        objectName: "answerList"
        anchors.fill: parent
        anchors.margins: pane.compact ? 12 : Theme.padding
        visible: !pane.empty
        clip: true
        spacing: 12
        boundsBehavior: Flickable.StopAtBounds
        model: pane.session.answers
        ScrollBar.vertical: ScrollBar {}
        header: RowLayout {
            width: answers.width
            visible: pane.session.answering.length > 0
            height: visible ? implicitHeight + 12 : 0
            spacing: 8
            BusyIndicator { running: parent.visible; Layout.preferredWidth: 18; Layout.preferredHeight: 18; Layout.alignment: Qt.AlignTop }
            Text {
                objectName: "answeringNow"
                Layout.fillWidth: true
                text: "Looking for an answer to “" + pane.session.answering + "”"
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
                wrapMode: Text.Wrap
            }
        }
        delegate: Rectangle {
            id: card
            required property var modelData
            required property int index
            objectName: "answer:" + index
            width: answers.width - 4
            height: cardColumn.implicitHeight + 24
            radius: Theme.radius
            color: Theme.surface
            border.color: Theme.separator
            ColumnLayout {
                id: cardColumn
                anchors.fill: parent
                anchors.margins: 12
                spacing: 8
                RowLayout {
                    Layout.fillWidth: true
                    spacing: 6
                    Icon { symbol: "questionmark.bubble.fill"; size: 16; color: Theme.accent; Layout.alignment: Qt.AlignTop }
                    Text {
                        Layout.fillWidth: true
                        text: card.modelData.question
                        color: Theme.text
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.bodySize
                        font.weight: Font.DemiBold
                        wrapMode: Text.Wrap
                    }
                }
                Text {
                    Layout.fillWidth: true
                    text: card.modelData.answer
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                    wrapMode: Text.Wrap
                    lineHeight: 1.2
                    textFormat: Text.PlainText
                }
                Flow {
                    Layout.fillWidth: true
                    spacing: 6
                    visible: card.modelData.citations.length > 0
                    Repeater {
                        model: card.modelData.citations
                        CitationChip {
                            required property var modelData
                            required property int index
                            objectName: (pane.compact ? "besideCitation:" : "citation:") + card.index + ":" + index
                            citation: modelData
                            number: index + 1
                            onActivated: app.openCitation(modelData)
                        }
                    }
                }
            }
        }
    }
}
