import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import QtQuick.Window

// The main window: the sidebar, the detail area, the inspector beside it,
// the toast over it, and the commands with their shortcuts.
ApplicationWindow {
    id: window
    objectName: "mainWindow"
    width: 1200
    height: 780
    minimumWidth: 880
    minimumHeight: 560
    title: "Juniper Larder"
    color: Theme.window
    font.family: Theme.fontFamily

    menuBar: LarderMenuBar {}

    RowLayout {
        anchors.fill: parent
        spacing: 0

        Sidebar {
            Layout.fillHeight: true
            Layout.preferredWidth: 236
        }
        Rectangle { Layout.fillHeight: true; width: 1; color: Theme.separator }
        DetailView {
            id: detail
            Layout.fillWidth: true
            Layout.fillHeight: true
        }
        Rectangle { Layout.fillHeight: true; width: 1; color: Theme.separator; visible: app.showInspector }
        Inspector {
            visible: app.showInspector
            Layout.fillHeight: true
            Layout.preferredWidth: 300
        }
    }

    // The first run covers the window until it is done.
    Loader {
        anchors.fill: parent
        active: app.showOnboarding
        sourceComponent: OnboardingView {}
    }

    ToastView {
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 28
    }

    PreviewWindow {}

    SettingsSheet { id: settingsSheet }
    AboutSheet { id: aboutSheet }
    Connections {
        target: shell
        function onSettingsRequested(tab) { aboutSheet.close(); settingsSheet.show(tab) }
        function onAboutRequested() { settingsSheet.close(); aboutSheet.open() }
    }
}
