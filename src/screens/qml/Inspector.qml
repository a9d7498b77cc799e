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
                wrapMode: Text.WrapAtWordBoundaryOrAnywhere
                horizontalAlignment: Text.AlignHCenter
            }
            Text {
                Layout.alignment: Qt.AlignHCenter
                text: inspectorFacts.kindWord
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

            InspectorSection {
                objectName: "inspectorSource"
                visible: inspectorFacts.sourceID.length > 0
                title: "Downloaded from"
                RowLayout {
                    Layout.fillWidth: true
                    spacing: 10
                    SourceIcon {
                        symbol: inspectorFacts.sourceSymbol || "globe"
                        tint: Theme.sourceColor(inspectorFacts.sourceID)
                        size: 30
                    }
                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: 1
                        Text {
                            Layout.fillWidth: true
                            text: inspectorFacts.sourceTitle
                            color: Theme.text
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.bodySize
                            elide: Text.ElideRight
                        }
                        Text {
                            Layout.fillWidth: true
                            visible: text.length > 0
                            text: inspectorFacts.sourceHost
                            color: Theme.secondaryText
                            font.family: Theme.fontFamily
                            font.pixelSize: Theme.captionSize + 1
                            elide: Text.ElideMiddle
                        }
                    }
                }
            }
            InspectorSection {
                objectName: "inspectorDetails"
                title: "Details"
                rows: inspectorFacts.details
            }
            InspectorSection {
                objectName: "inspectorCamera"
                visible: inspectorFacts.camera.length > 0
                title: "Camera"
                rows: inspectorFacts.camera
            }
            InspectorSection {
                objectName: "inspectorText"
                visible: inspectorFacts.excerpt.length > 0
                title: inspectorFacts.textHeading
                Text {
                    Layout.fillWidth: true
                    text: inspectorFacts.excerpt
                    textFormat: Text.PlainText
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.captionSize + 1
                    wrapMode: Text.Wrap
                    maximumLineCount: 12
                    elide: Text.ElideRight
                    lineHeight: 1.15
                }
                StyledButton {
                    objectName: "inspectorCopyText"
                    text: "Copy Text"
                    symbol: "doc.on.doc"
                    bordered: true
                    onClicked: app.copyTextOf(inspector.record)
                }
            }
        }
    }
}
