import QtQuick
import QtQuick.Controls

// A setting that is on or off: its label, and the switch at the end. The
// whole row toggles.
Switch {
    id: control
    hoverEnabled: true
    padding: 0
    spacing: 12
    font.family: Theme.fontFamily
    font.pixelSize: Theme.bodySize
    implicitWidth: 200

    indicator: Rectangle {
        x: control.width - width
        anchors.verticalCenter: parent.verticalCenter
        implicitWidth: 38
        implicitHeight: 22
        radius: height / 2
        color: control.checked ? Theme.accent : Theme.dark ? "#4a4d55" : "#cfd3da"
        Behavior on color { ColorAnimation { duration: 120 } }
        Rectangle {
            x: control.checked ? parent.width - width - 2 : 2
            anchors.verticalCenter: parent.verticalCenter
            width: 18
            height: 18
            radius: 9
            color: "#ffffff"
            Behavior on x { NumberAnimation { duration: 120 } }
        }
    }
    contentItem: Text {
        rightPadding: control.indicator.width + control.spacing
        text: control.text
        font: control.font
        color: Theme.text
        wrapMode: Text.Wrap
        verticalAlignment: Text.AlignVCenter
    }
}
