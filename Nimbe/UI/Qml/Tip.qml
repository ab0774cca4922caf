import QtQuick
import QtQuick.Templates as T

// What a symbol means, after a moment.
T.ToolTip {
    id: tip

    property Item control

    visible: control.hovered && control.text.length > 0
    delay: 700
    text: control.text
    x: (control.width - implicitWidth) / 2
    y: control.height + 4
    margins: 6
    padding: 0
    implicitWidth: words.implicitWidth + 16
    implicitHeight: words.implicitHeight + 10
    contentItem: Text {
        id: words
        leftPadding: 8
        topPadding: 5
        text: tip.text
        font.family: theme.text
        font.pixelSize: 12
        color: theme.background
    }
    background: Rectangle {
        radius: 6
        color: theme.ink
    }
}
