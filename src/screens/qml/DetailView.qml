import QtQuick

// What the selected sidebar item shows: home, a listing, or its screen. A key
// that names no item (a pin whose folder went away) shows home.
Item {
    id: detail
    objectName: "detail"
    readonly property string key: app.selection
    readonly property var info: shell.itemInfo(key)
    // The screen on show, for the window test: "home", "listing", "search",
    // "sources", "ask", "duplicates", "cleanup" or "meetings".
    readonly property string screen: !info.key ? "home"
        : key === "home" || key === "search" || key === "sources" || key === "ask" || key === "duplicates" || key === "cleanup"
          || key === "meetings" ? key
        : info.listing ? "listing" : "home"

    Loader {
        id: loader
        anchors.fill: parent
        sourceComponent: ({home: homeScreen, listing: listingScreen, search: searchScreen, sources: sourcesScreen, ask: askScreen,
                          duplicates: duplicatesScreen, cleanup: cleanupScreen, meetings: meetingsScreen})[detail.screen]
    }
    Component { id: searchScreen; SearchScreen {} }
    Component { id: sourcesScreen; SourcesScreen {} }
    Component { id: askScreen; AskScreen {} }
    Component { id: homeScreen; HomeScreen {} }
    Component { id: duplicatesScreen; DuplicatesScreen {} }
    Component { id: cleanupScreen; CleanupScreen {} }
    Component { id: meetingsScreen; MeetingsScreen {} }
    Component { id: listingScreen; ListingScreen { key: detail.key } }
}
