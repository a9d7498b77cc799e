import QtQuick
import QtQuick.Layouts

// The screens that come with later versions: the item's title and symbol,
// and what the screen will hold.
Item {
    id: screen
    property string key
    readonly property var info: shell.itemInfo(key)
    readonly property var purposes: ({
        search: "Search will find files from a plain-English request, reading the text inside documents, screenshots and scanned PDFs.",
        ask: "Ask Larder will answer questions from your files and meetings, and show where each answer came from.",
        sources: "Downloaded From will group your downloads by where they came from: Gmail, Slack, ChatGPT and other sites.",
        duplicates: "Duplicates will show identical files and similar photos, with one copy kept in each group.",
        cleanup: "Clean Up will suggest old installers, forgotten downloads and unused apps to move to the Trash.",
        meetings: "Meetings will record and transcribe your calls, and keep the notes Claude writes from them."
    })

    PageHeader {
        id: header
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: Theme.padding + 4
        title: screen.info.title || ""
        symbol: screen.info.symbol || ""
        tint: screen.info.tint || ""
    }
    EmptyStateView {
        objectName: "placeholder"
        anchors.centerIn: parent
        width: Math.min(parent.width - 80, 480)
        symbol: screen.info.symbol || "questionmark"
        title: (screen.info.title || "") + " is coming"
        message: screen.purposes[screen.key] || ""
    }
}
