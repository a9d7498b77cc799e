import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One tab of Settings: its groups in a column that scrolls when the window
// is short.
Flickable {
    id: page
    default property alias content: column.data
    clip: true
    contentWidth: width
    contentHeight: column.implicitHeight + 2 * Theme.padding
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: ScrollBar {}
    ColumnLayout {
        id: column
        x: Theme.padding
        y: Theme.padding
        width: page.width - 2 * Theme.padding
        spacing: 18
    }
}
