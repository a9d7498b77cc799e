import QtQuick
import QtQuick.Layouts

// Under the sidebar: what indexing is doing, and its last error.
Item {
    id: footer
    readonly property string status: app.indexing.statusText
    readonly property bool busy: status.startsWith("Scanning") || status.startsWith("Reading")
    implicitHeight: column.implicitHeight + 20
    ColumnLayout {
        id: column
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        anchors.leftMargin: 18
        anchors.rightMargin: 14
        spacing: 4
        RowLayout {
            spacing: 8
            Layout.fillWidth: true
            PulsingDot { visible: footer.busy }
            Icon { visible: !footer.busy; symbol: "checkmark.circle.fill"; size: 14; color: Theme.tertiaryText }
            Text {
                objectName: "indexingStatus"
                Layout.fillWidth: true
                text: footer.status
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.captionSize
                elide: Text.ElideRight
            }
        }
        Text {
            visible: app.indexing.lastError.length > 0
            Layout.fillWidth: true
            text: app.indexing.lastError
            color: Theme.danger
            font.family: Theme.fontFamily
            font.pixelSize: Theme.captionSize
            wrapMode: Text.Wrap
            maximumLineCount: 3
            elide: Text.ElideRight
        }
    }
}
