import QtQuick

// What the selected sidebar item shows: home, a listing, or its screen.
Item {
    id: detail
    objectName: "detail"
    readonly property string key: app.selection
    readonly property var info: shell.itemInfo(key)
    // The screen on show, for the window test: "home", "listing" or "placeholder".
    readonly property string screen: !info.key ? "placeholder" : key === "home" ? "home" : info.listing ? "listing" : "placeholder"

    Loader {
        id: loader
        anchors.fill: parent
        sourceComponent: detail.screen === "home" ? homeScreen : detail.screen === "listing" ? listingScreen : placeholderScreen
    }
    Component { id: homeScreen; HomeScreen {} }
    Component { id: listingScreen; ListingScreen { key: detail.key } }
    Component { id: placeholderScreen; PlaceholderScreen { key: detail.key } }
}
