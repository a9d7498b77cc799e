import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Beside the detail area: the file under inspection.
Rectangle {
    id: inspector
    objectName: "inspector"
    color: Theme.sidebar
    readonly property var record: app.inspectedFile
    readonly property var file: record ? shell.fileItem(record) : null

    EmptyStateView {
        visible: !inspector.file
        anchors.centerIn: parent
        width: parent.width - 40
        symbol: "sidebar.trailing"
        title: "No selection"
        message: "Select a file to see its details, where it came from, and any text inside it."
    }
    Flickable {
        visible: !!inspector.file
        anchors.fill: parent
        contentHeight: body.implicitHeight + 40
        clip: true
        ColumnLayout {
            id: body
            x: 20; y: 20
            width: inspector.width - 40
            spacing: 12
            Thumbnail {
                Layout.alignment: Qt.AlignHCenter
                size: 180
                source: inspector.file ? inspector.file.thumbnail : ""
                symbol: inspector.file ? inspector.file.symbol : "doc.fill"
                tint: inspector.file ? inspector.file.tint : ""
            }
            Text {
                Layout.fillWidth: true
                text: inspector.file ? inspector.file.name : ""
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.headingSize
                font.weight: Font.DemiBold
                wrapMode: Text.WrapAnywhere
                horizontalAlignment: Text.AlignHCenter
            }
            Text {
                Layout.alignment: Qt.AlignHCenter
                text: inspector.file ? inspector.file.kindTitle : ""
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.bodySize
            }
            RowLayout {
                Layout.alignment: Qt.AlignHCenter
                spacing: 8
                StyledButton { text: "Open"; prominent: true; onClicked: app.openFiles([inspector.record]) }
                StyledButton { text: "Show in Files"; bordered: true; onClicked: app.revealFiles([inspector.record]) }
            }
            Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator; Layout.topMargin: 6 }
            Repeater {
                model: inspector.file ? [["Size", inspector.file.sizeText], ["Modified", inspector.file.modifiedText],
                                         ["From", inspector.file.source], ["Where", inspector.file.folder]] : []
                delegate: RowLayout {
                    required property var modelData
                    visible: modelData[1] && modelData[1].length > 0
                    Layout.fillWidth: true
                    spacing: 10
                    Text {
                        text: modelData[0]
                        color: Theme.secondaryText
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.captionSize + 1
                        Layout.preferredWidth: 70
                    }
                    Text {
                        text: modelData[1] || ""
                        color: Theme.text
                        font.family: Theme.fontFamily
                        font.pixelSize: Theme.captionSize + 1
                        Layout.fillWidth: true
                        wrapMode: Text.WrapAnywhere
                    }
                }
            }
        }
    }
}
