import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The files of one sidebar item, or of one source under "Downloaded From",
// as a grid of thumbnails or a list, sorted as the user chooses and loaded a
// page at a time as the view scrolls.
Item {
    id: screen
    objectName: "listingScreen"
    property string key
    // A source's downloads instead of the item's files, with a way back.
    property string sourceID
    property string sourceName
    property string sourceSymbol
    signal back()
    readonly property var info: shell.itemInfo(key)
    property var model: null
    readonly property bool gridMode: app.settings.viewMode !== "list"
    readonly property real tileSize: app.settings.thumbnailSize
    readonly property bool indexing: app.indexing.statusText.startsWith("Scanning") || app.indexing.statusText.startsWith("Reading")
    focus: true

    function makeModel() { return sourceID ? shell.sourceBrowserFor(sourceID) : shell.browserFor(key) }
    onKeyChanged: model = makeModel()
    onSourceIDChanged: model = makeModel()
    Component.onCompleted: if (!model) model = makeModel()

    function choose(row, fileID, modifiers) {
        if (modifiers & Qt.ControlModifier)
            model.toggleSelected(fileID)
        else
            model.selectOnly(fileID)
        app.inspect(model.recordAt(row))
        screen.forceActiveFocus()
    }
    function previewSelection() {
        const chosen = model.selectedRecords()
        if (chosen.length > 0)
            app.previewFile(chosen[0], model.allRecords())
    }
    function askToTrash() {
        if (model.selectionCount > 0)
            trashDialog.open()
    }

    Keys.onSpacePressed: previewSelection()
    Keys.onDeletePressed: askToTrash()
    Shortcut { sequence: StandardKey.SelectAll; enabled: screen.visible; onActivated: screen.model.selectAll() }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        PageHeader {
            Layout.fillWidth: true
            Layout.margins: Theme.padding
            Layout.bottomMargin: 12
            title: screen.sourceID ? screen.sourceName : screen.info.title || ""
            subtitle: screen.model ? screen.model.countText : ""
            symbol: screen.sourceID ? screen.sourceSymbol : screen.info.symbol || ""
            tint: screen.sourceID ? Theme.sourceColor(screen.sourceID) : screen.info.tint || ""

            StyledButton {
                objectName: "sourceBack"
                visible: screen.sourceID.length > 0
                symbol: "chevron.left"
                text: "Downloaded From"
                bordered: true
                onClicked: screen.back()
            }
            StyledButton {
                visible: screen.model && screen.model.selectionCount > 0
                symbol: "trash"
                text: "Move to Trash"
                destructive: true
                onClicked: screen.askToTrash()
            }
            Slider {
                id: sizeSlider
                visible: screen.gridMode
                from: 64; to: 256; stepSize: 8
                value: app.settings.thumbnailSize
                implicitWidth: 110
                onMoved: app.settings.thumbnailSize = value
                ToolTip.text: "Thumbnail size"
                ToolTip.visible: hovered
                background: Rectangle {
                    x: sizeSlider.leftPadding
                    y: sizeSlider.topPadding + sizeSlider.availableHeight / 2 - height / 2
                    width: sizeSlider.availableWidth; height: 4; radius: 2
                    color: Theme.separator
                    Rectangle { width: sizeSlider.visualPosition * parent.width; height: parent.height; radius: 2; color: Theme.accent }
                }
                handle: Rectangle {
                    x: sizeSlider.leftPadding + sizeSlider.visualPosition * (sizeSlider.availableWidth - width)
                    y: sizeSlider.topPadding + sizeSlider.availableHeight / 2 - height / 2
                    width: 16; height: 16; radius: 8
                    color: Theme.surfaceRaised
                    border.color: Theme.separator
                }
            }
            StyledButton {
                id: sortButton
                symbol: "arrow.up.arrow.down"
                text: ({recent: "Recent", name: "Name", size: "Size", kind: "Kind"})[screen.model ? screen.model.sort : "recent"]
                toolTip: "Sort"
                bordered: true
                onClicked: sortMenu.popup(sortButton, 0, sortButton.height + 4)
                Menu {
                    id: sortMenu
                    Repeater {
                        model: [["recent", "Recent"], ["name", "Name"], ["size", "Size"], ["kind", "Kind"]]
                        StyledMenuItem {
                            required property var modelData
                            text: modelData[1]
                            onTriggered: screen.model.sort = modelData[0]
                        }
                    }
                }
            }
            SegmentedControl {
                options: [{value: "grid", symbol: "square.grid.2x2"}, {value: "list", symbol: "list.bullet"}]
                current: app.settings.viewMode
                onChosen: (value) => app.settings.viewMode = value
                ToolTip.text: "View as grid or list"
            }
            StyledButton {
                symbol: "sidebar.trailing"
                checkable: false
                checked: app.showInspector
                toolTip: app.showInspector ? "Hide inspector" : "Show inspector"
                onClicked: app.toggleInspector()
            }
        }
        Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            GridView {
                id: grid
                objectName: "fileGrid"
                visible: screen.gridMode
                anchors.fill: parent
                anchors.leftMargin: 12
                anchors.topMargin: 12
                model: screen.model
                clip: true
                cellWidth: screen.tileSize + 28
                cellHeight: screen.tileSize + 66
                cacheBuffer: 0
                reuseItems: true
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: ScrollBar {}
                delegate: FileTile {
                    required property int index
                    required property var model
                    file: model
                    size: screen.tileSize
                    isSelected: model.selected
                    onPressed: (modifiers) => screen.choose(index, model.fileID, modifiers)
                    onActivated: app.previewFile(model.record, screen.model.allRecords())
                    onMenuRequested: (x, y) => fileMenu.show(this, x, y)
                }
            }

            ListView {
                id: list
                objectName: "fileList"
                visible: !screen.gridMode
                anchors.fill: parent
                model: screen.model
                clip: true
                reuseItems: true
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: ScrollBar {}
                headerPositioning: ListView.OverlayHeader
                header: Rectangle {
                    z: 2
                    width: list.width
                    height: 30
                    color: Theme.window
                    ListRowLayout {
                        anchors.fill: parent
                        cells: ["Name", "Kind", "Size", "Modified", "From"]
                        header: true
                    }
                    Rectangle { anchors.bottom: parent.bottom; width: parent.width; height: 1; color: Theme.separator }
                }
                delegate: Rectangle {
                    required property int index
                    required property var model
                    width: list.width
                    height: 34
                    color: model.selected ? Theme.selection : index % 2 ? Theme.well : "transparent"
                    ListRowLayout {
                        anchors.fill: parent
                        symbol: model.symbol
                        tint: model.tint
                        cells: [model.name, model.kindWord, model.sizeText, model.modifiedText, model.source]
                    }
                    MouseArea {
                        anchors.fill: parent
                        acceptedButtons: Qt.LeftButton | Qt.RightButton
                        onPressed: (event) => {
                            if (event.button === Qt.RightButton) {
                                if (!model.selected)
                                    screen.choose(index, model.fileID, 0)
                                fileMenu.show(parent, event.x, event.y)
                            } else {
                                screen.choose(index, model.fileID, event.modifiers)
                            }
                        }
                        onDoubleClicked: app.previewFile(model.record, screen.model.allRecords())
                    }
                }
            }

            BusyIndicator {
                anchors.centerIn: parent
                running: screen.model && screen.model.loading && screen.model.total === 0 && grid.count === 0
                visible: running
            }
            EmptyStateView {
                objectName: "listingEmpty"
                anchors.centerIn: parent
                width: Math.min(parent.width - 60, 460)
                visible: screen.model && !screen.model.loading && screen.model.total === 0
                symbol: screen.info.symbol || "doc.fill"
                title: "Nothing here yet"
                message: screen.indexing ? "Larder is still scanning your computer. Files will appear as they're found."
                                         : "No files match " + (screen.info.title || "").toLowerCase() + "."
            }
        }
    }

    FileContextMenu {
        id: fileMenu
        function show(item, x, y) {
            records = screen.model.selectedRecords()
            among = screen.model.allRecords()
            popup(item, x, y)
        }
        onTrashRequested: screen.askToTrash()
    }

    ConfirmDialog {
        id: trashDialog
        readonly property int count: screen.model ? screen.model.selectionCount : 0
        title: "Move " + shell.counted(count, "item") + " to the Trash?"
        message: "You can restore them from the Trash."
        confirmTitle: "Move to Trash"
        onConfirmed: {
            app.trashFiles(screen.model.selectedRecords())
            screen.model.clearSelection()
        }
    }
}
