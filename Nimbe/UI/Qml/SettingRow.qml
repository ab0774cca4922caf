import QtQuick

// A setting: its name, what it does, and on the right whatever changes it.
Item {
    id: row

    property string title
    property string detail
    property bool last: false
    property bool loud: false // the detail needs attention
    default property alias content: holder.data

    width: parent ? parent.width : 0
    // Whole pixels: a hairline between two of them is not drawn.
    implicitHeight: Math.ceil(Math.max(words.implicitHeight, holder.childrenRect.height)) + 24

    Column {
        id: words
        anchors.left: parent.left
        anchors.right: holder.left
        anchors.rightMargin: 20
        anchors.verticalCenter: parent.verticalCenter
        spacing: 3

        Text {
            width: parent.width
            text: row.title
            wrapMode: Text.Wrap
            font.family: theme.text
            font.pixelSize: 15
            color: theme.ink
        }
        Text {
            width: parent.width
            visible: text.length > 0
            text: row.detail
            wrapMode: Text.Wrap
            font.family: theme.text
            font.pixelSize: 13
            font.weight: row.loud ? Font.Bold : Font.Normal
            lineHeight: 1.15
            color: row.loud ? theme.ink : theme.quiet
        }
    }

    Item {
        id: holder
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        width: childrenRect.width
        height: childrenRect.height
    }

    Rectangle {
        visible: !row.last
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: theme.hairline
    }
}
