import QtQuick

// Work under way: a turning arrow in the accent colour.
Icon {
    id: spinner
    symbol: "arrow.clockwise"
    size: 20
    color: Theme.accent
    RotationAnimator on rotation {
        from: 0
        to: 360
        duration: 900
        loops: Animation.Infinite
        running: spinner.visible
    }
}
