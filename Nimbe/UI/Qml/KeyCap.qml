import QtQuick

// A key, as it looks on the keyboard.
Rectangle {
    id: cap

    property string text
    property real size: 15

    implicitWidth: label.implicitWidth + size * 1.5
    implicitHeight: size * 2.1
    radius: size * 0.5
    color: theme.surface
    border.width: 1
    border.color: theme.faint

    Rectangle {
        anchors.fill: parent
        anchors.topMargin: parent.height - 4
        anchors.leftMargin: parent.radius
        anchors.rightMargin: parent.radius
        anchors.bottomMargin: 2
        height: 2
        radius: 1
        color: theme.hairline
    }
    Text {
        id: label
        anchors.centerIn: parent
        anchors.verticalCenterOffset: -1
        text: cap.text
        font.family: theme.text
        font.pixelSize: cap.size
        font.weight: Font.Bold
        color: theme.ink
    }
}
