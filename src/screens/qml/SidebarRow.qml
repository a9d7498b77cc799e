import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One row of the sidebar: the item's tinted symbol and title, the number of
// files for a kind, and for a pinned folder a menu to show or unpin it.
Rectangle {
    id: row
    property string key
    readonly property var info: shell.itemInfo(key)
    readonly property bool selected: app.selection === key
    readonly property bool pinned: key.startsWith("folder:")
    readonly property var kindCount: {
        if (!key.startsWith("kind:"))
            return null
        const stats = library.kindStats
        for (let i = 0; i < stats.length; ++i)
            if (stats[i].key === key)
                return stats[i].count
        return null
    }
    objectName: "sidebar:" + key
    implicitHeight: 28
    radius: Theme.smallRadius
    color: selected ? Theme.selection : mouse.containsMouse ? Theme.hover : "transparent"

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 10
        anchors.rightMargin: 10
        spacing: 10
        Icon {
            symbol: row.info.symbol || ""
            size: 18
            color: Theme.tint(row.info.tint)
            Layout.preferredWidth: 20
        }
        Text {
            Layout.fillWidth: true
            text: row.info.title || ""
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
            font.weight: row.selected ? Font.DemiBold : Font.Normal
            elide: Text.ElideRight
        }
        Text {
            visible: row.kindCount !== null && row.kindCount > 0
            text: row.kindCount !== null ? Number(row.kindCount).toLocaleString(Qt.locale("en_US"), "f", 0) : ""
            color: Theme.tertiaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.captionSize
        }
    }
    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        onClicked: (event) => {
            if (event.button === Qt.RightButton && row.pinned)
                pinMenu.popup()
            else
                app.selection = row.key
        }
    }
    Menu {
        id: pinMenu
        StyledMenuItem { text: "Show in Files"; onTriggered: app.revealFolder(row.info.path) }
        StyledMenuItem { text: "Unpin"; onTriggered: app.unpin(row.info.path) }
    }
}
