import QtQuick

// Where the keyboard is, when it was moved by keys.
Rectangle {
    property Item control

    anchors.fill: parent
    anchors.margins: -3
    visible: control.visualFocus
    radius: parent.radius + 3
    color: "transparent"
    border.width: 2
    border.color: theme.accent
}
