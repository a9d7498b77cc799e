import QtQuick
import QtQuick.Layouts

// One titled part of the inspector: a rule, the title, rows of label and
// value, and whatever else it is given below them.
ColumnLayout {
    id: section
    property string title
    // Each {label, value}.
    property var rows: []
    default property alias extra: extraColumn.data
    Layout.fillWidth: true
    spacing: 6

    Rectangle { Layout.fillWidth: true; height: 1; color: Theme.separator; Layout.topMargin: 4; Layout.bottomMargin: 4 }
    Text {
        text: section.title
        color: Theme.text
        font.family: Theme.fontFamily
        font.pixelSize: Theme.bodySize
        font.weight: Font.DemiBold
    }
    Repeater {
        model: section.rows
        delegate: RowLayout {
            required property var modelData
            objectName: "inspectorRow:" + modelData.label
            Layout.fillWidth: true
            spacing: 10
            Text {
                text: modelData.label
                color: Theme.secondaryText
                font.family: Theme.fontFamily
                font.pixelSize: Theme.captionSize + 1
                Layout.preferredWidth: 84
                Layout.alignment: Qt.AlignTop
                elide: Text.ElideRight
            }
            Text {
                objectName: "value"
                text: modelData.value
                color: Theme.text
                font.family: Theme.fontFamily
                font.pixelSize: Theme.captionSize + 1
                Layout.fillWidth: true
                wrapMode: Text.WrapAtWordBoundaryOrAnywhere
            }
        }
    }
    ColumnLayout {
        id: extraColumn
        Layout.fillWidth: true
        spacing: 8
    }
}
