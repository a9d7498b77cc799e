import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One list of search results: Claude's picks in the header, then the other
// results, of which only the rows on screen are made. While it is not
// shown it stays out of sight and out of reach of the pointer, and keeps
// making its rows, so that it is ready the moment it is.
ListView {
    id: list
    // The rows of other results (a SearchHitList).
    property var hits
    property bool shown: false
    property var selectedID: -1
    signal chosen(var fileID, var record)

    objectName: shown ? "searchResults" : ""
    model: hits
    opacity: shown ? 1 : 0
    enabled: shown
    z: shown ? 1 : 0
    // Results come in from the top: a list that goes out of sight starts
    // from there when its next results are laid out. Later, so that the
    // frame of the swap makes no rows for the page that leaves.
    onShownChanged: if (!shown && !atYBeginning) Qt.callLater(positionViewAtBeginning)

    clip: true
    spacing: 2
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: ScrollBar {}
    header: ColumnLayout {
        width: list.width - 12
        spacing: 2
        RowLayout {
            visible: list.shown && searchResults.ranked.count > 0
            Layout.topMargin: 4
            Layout.bottomMargin: 4
            spacing: 10
            Text {
                objectName: list.shown ? "bestMatchesHeading" : ""
                text: "Best matches"
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.headingSize
                font.weight: Font.DemiBold
            }
            AIBadge { label: "Ranked by Claude" }
        }
        // Picks come only with Claude's answer, never at the end of a
        // typing pause, so only the list on screen makes their rows.
        Repeater {
            model: list.shown ? searchResults.ranked : null
            FileResultRow {
                required property int index
                required property var fileID
                required property var record
                objectName: "bestMatch:" + index
                Layout.fillWidth: true
                isSelected: fileID === list.selectedID
                onPressed: list.chosen(fileID, record)
                onActivated: app.previewFile(record, searchResults.allRecords())
            }
        }
        Text {
            visible: list.shown && searchResults.ranked.count > 0 && list.count > 0
            Layout.topMargin: 14
            Layout.bottomMargin: 4
            text: "Other results"
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.headingSize
            font.weight: Font.DemiBold
        }
    }
    // Rows that scroll away or go with a new request are kept for the next
    // ones, which only take new values.
    reuseItems: true
    delegate: FileResultRow {
        required property int index
        required property var fileID
        required property var record
        objectName: list.shown ? "otherResult:" + index : ""
        width: list.width - 12
        isSelected: fileID === list.selectedID
        onPressed: list.chosen(fileID, record)
        onActivated: app.previewFile(record, searchResults.allRecords())
    }
}
