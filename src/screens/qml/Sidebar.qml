import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The sections of the sidebar and the indexing footer under them.
Rectangle {
    id: sidebar
    color: Theme.sidebar

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        Flickable {
            Layout.fillWidth: true
            Layout.fillHeight: true
            contentHeight: sections.implicitHeight + 24
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }

            ColumnLayout {
                id: sections
                x: 10
                y: 12
                width: parent.width - 20
                spacing: 2
                Repeater {
                    model: shell.sidebarSections
                    delegate: ColumnLayout {
                        required property var modelData
                        Layout.fillWidth: true
                        spacing: 1
                        Text {
                            visible: modelData.title.length > 0
                            text: modelData.title
                            color: Theme.tertiaryText
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.captionSize
                            font.weight: Font.DemiBold
                            font.capitalization: Font.AllUppercase
                            font.letterSpacing: 0.6
                            Layout.topMargin: 12
                            Layout.bottomMargin: 3
                            Layout.leftMargin: 10
                        }
                        Repeater {
                            model: modelData.keys
                            delegate: SidebarRow {
                                required property string modelData
                                key: modelData
                                Layout.fillWidth: true
                            }
                        }
                    }
                }
            }
        }
        Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }
        IndexingFooter {
            Layout.fillWidth: true
        }
    }
}
