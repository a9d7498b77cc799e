import QtQuick
import QtQuick.Layouts

// Settings' General tab: the folders of the library and how indexing stands.
ColumnLayout {
    Layout.fillWidth: true
    spacing: 18

    SettingsGroup {
        Layout.fillWidth: true
        title: "Folders"
        caption: "Larder reads file names, metadata and text on this computer. Your library never leaves it."
        FolderListView {
            Layout.fillWidth: true
            StyledButton {
                objectName: "rescanNow"
                text: "Rescan Now"
                symbol: "arrow.clockwise"
                bordered: true
                onClicked: app.startIndexing()
            }
        }
    }

    SettingsGroup {
        Layout.fillWidth: true
        title: "Status"
        StatusRow { label: "Index"; value: app.indexing.statusText; objectName: "indexStatus" }
        Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }
        StatusRow {
            objectName: "libraryStatus"
            label: "Library"
            value: shell.counted(library.totalCount, "file")
        }
    }

    component StatusRow: RowLayout {
        property string label
        property string value
        Layout.fillWidth: true
        spacing: 12
        Text {
            text: parent.label
            color: Theme.text
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
        }
        Text {
            objectName: parent.objectName + "Value"
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignRight
            text: parent.value
            color: Theme.secondaryText
            font.family: Theme.fontFamily
            font.pixelSize: Theme.bodySize
            elide: Text.ElideRight
        }
    }
}
