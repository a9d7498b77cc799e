import QtQuick

// Marks what Claude did: the sparkle and a short text.
Chip {
    symbol: "sparkle"
    tint: "#a259e6"
}
