import QtQuick

// Something goes on.
Row {
    id: dots

    property bool running: false

    spacing: 5

    Repeater {
        model: 3

        Rectangle {
            id: dot
            required property int index
            width: 8
            height: 8
            radius: 4
            color: theme.accent

            SequentialAnimation on opacity {
                running: dots.running && dots.visible && !theme.reducesMotion
                loops: Animation.Infinite
                PauseAnimation { duration: dot.index * 160 }
                NumberAnimation { from: 0.25; to: 1; duration: 320 }
                NumberAnimation { from: 1; to: 0.25; duration: 320 }
                PauseAnimation { duration: (2 - dot.index) * 160 }
            }
        }
    }
}
