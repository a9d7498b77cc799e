pragma Singleton
import QtQuick

// Colours, spacing and type of the whole window, light and dark. The scheme
// follows the desktop's palette unless LARDER_COLOR_SCHEME forces one.
QtObject {
    readonly property SystemPalette system: SystemPalette { colorGroup: SystemPalette.Active }
    readonly property bool dark: shell.colorScheme === "dark" ? true
                               : shell.colorScheme === "light" ? false
                               : system.window.hslLightness < 0.5

    readonly property color accent: dark ? "#4c8dff" : "#2f6fe4"
    readonly property color accentText: "#ffffff"
    readonly property color window: dark ? "#1c1d21" : "#f7f8fa"
    readonly property color sidebar: dark ? "#232429" : "#eef0f4"
    readonly property color surface: dark ? "#2a2c31" : "#ffffff"
    readonly property color surfaceRaised: dark ? "#33353b" : "#ffffff"
    readonly property color well: dark ? "#24262a" : "#f1f3f6"
    readonly property color text: dark ? "#eceef2" : "#1b1d22"
    readonly property color secondaryText: dark ? "#a0a6b0" : "#646b76"
    readonly property color tertiaryText: dark ? "#767c86" : "#959ba5"
    readonly property color separator: dark ? "#383a41" : "#e2e5ea"
    readonly property color hover: dark ? Qt.rgba(1, 1, 1, 0.06) : Qt.rgba(0, 0, 0, 0.045)
    readonly property color selection: Qt.rgba(accent.r, accent.g, accent.b, dark ? 0.28 : 0.14)
    readonly property color danger: dark ? "#ff6b6b" : "#d93a3a"
    readonly property color shadow: dark ? Qt.rgba(0, 0, 0, 0.5) : Qt.rgba(0.1, 0.12, 0.2, 0.12)

    readonly property int spacing: 8
    readonly property int padding: 20
    readonly property int radius: 10
    readonly property int smallRadius: 6

    readonly property string fontFamily: "DejaVu Sans"
    readonly property int titleSize: 24
    readonly property int headingSize: 16
    readonly property int bodySize: 13
    readonly property int captionSize: 11

    // One colour for each well-known source, one for every other site.
    readonly property var sourceColors: ({
        gmail: "#ea4335", drive: "#1a9e5c", chatgpt: "#10a37f", claude: "#d97757", canva: "#00a3c4",
        slack: "#611f69", whatsapp: "#25a244", dropbox: "#0061fe", notion: "#6b6b6b", figma: "#a259ff",
        outlook: "#0a64c2", telegram: "#2aa1da", discord: "#5865f2", linkedin: "#0a66c2", icloud: "#3693f3",
        zoom: "#2d8cff", github: "#6e5494", x: "#555555", mail: "#1e88e5", messages: "#34c759", airdrop: "#1e90ff"
    })
    function sourceColor(id) { return sourceColors[id] !== undefined ? sourceColors[id] : "#7a8391" }

    // The tint of an item, or the accent when it has none.
    function tint(value) { return value && value.length > 0 ? value : accent }
}
