import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import QtQuick.Window

// The preview of a file in a window of its own: pictures, PDFs page by page,
// and text. The arrow keys step through the files it was opened among;
// Escape closes it.
Window {
    id: preview
    objectName: "previewWindow"
    readonly property url url: app.previewURL
    readonly property var urls: app.previewURLs
    readonly property int position: urls.indexOf(url)
    readonly property string kind: url.toString().length > 0 ? shell.previewKind(url) : "none"
    readonly property string name: decodeURIComponent(url.toString().split("/").pop())
    property int page: 0
    readonly property int pages: kind === "pdf" ? shell.pageCount(url) : 0

    width: 860
    height: 680
    minimumWidth: 420
    minimumHeight: 320
    title: name
    color: Theme.window
    visible: url.toString().length > 0
    onUrlChanged: page = 0
    onVisibleChanged: if (visible) { raise(); requestActivate() }
    onClosing: app.closePreview()

    function step(by) {
        const next = position + by
        if (next >= 0 && next < urls.length)
            app.previewURL = urls[next]
    }
    function escaped(url) {
        return encodeURIComponent(decodeURIComponent(url.toString().replace("file://", "")))
    }

    Shortcut { sequence: "Escape"; onActivated: app.closePreview() }
    Shortcut { sequence: "Space"; onActivated: app.closePreview() }
    Shortcut { sequence: "Right"; onActivated: preview.kind === "pdf" && preview.page + 1 < preview.pages ? preview.page++ : preview.step(1) }
    Shortcut { sequence: "Left"; onActivated: preview.kind === "pdf" && preview.page > 0 ? preview.page-- : preview.step(-1) }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0
        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 46
            color: Theme.sidebar
            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: 12
                anchors.rightMargin: 12
                spacing: 8
                StyledButton { symbol: "chevron.left"; enabled: preview.position > 0; onClicked: preview.step(-1) }
                StyledButton { symbol: "chevron.right"; enabled: preview.position + 1 < preview.urls.length; onClicked: preview.step(1) }
                Text {
                    Layout.fillWidth: true
                    text: preview.name
                    color: Theme.text
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.bodySize
                    font.weight: Font.DemiBold
                    elide: Text.ElideMiddle
                    horizontalAlignment: Text.AlignHCenter
                }
                Text {
                    visible: preview.pages > 1
                    text: "Page " + (preview.page + 1) + " of " + preview.pages
                    color: Theme.secondaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.captionSize + 1
                }
                Text {
                    visible: preview.urls.length > 1
                    text: (preview.position + 1) + " of " + preview.urls.length
                    color: Theme.secondaryText
                    font.family: Theme.fontFamily
                    font.pixelSize: Theme.captionSize + 1
                }
                StyledButton { symbol: "xmark"; onClicked: app.closePreview() }
            }
            Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: Theme.separator }
        }
        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            Image {
                id: picture
                visible: preview.kind === "image" || preview.kind === "pdf"
                anchors.fill: parent
                anchors.margins: 16
                asynchronous: true
                fillMode: Image.PreserveAspectFit
                sourceSize.width: 1600
                sourceSize.height: 1600
                source: !visible ? ""
                      : preview.kind === "pdf" ? "image://preview/" + preview.escaped(preview.url) + "?page=" + preview.page
                      : "image://preview/" + preview.escaped(preview.url)
            }
            BusyIndicator { anchors.centerIn: parent; running: picture.visible && picture.status === Image.Loading }
            ScrollView {
                visible: preview.kind === "text"
                anchors.fill: parent
                anchors.margins: 16
                TextArea {
                    readOnly: true
                    text: preview.kind === "text" ? shell.previewText(preview.url) : ""
                    color: Theme.text
                    font.family: "DejaVu Sans Mono"
                    font.pixelSize: Theme.bodySize
                    wrapMode: TextEdit.Wrap
                    background: Rectangle { color: Theme.surface; radius: Theme.radius; border.color: Theme.separator }
                }
            }
            EmptyStateView {
                anchors.centerIn: parent
                width: parent.width - 80
                visible: preview.kind === "none" || (picture.visible && (picture.status === Image.Error || (picture.status === Image.Ready && picture.implicitWidth <= 1)))
                symbol: "eye"
                title: "No preview"
                message: "This file can't be shown here. Open it with its application instead."
                actionTitle: "Open"
                onAction: Qt.openUrlExternally(preview.url)
            }
        }
    }
}
