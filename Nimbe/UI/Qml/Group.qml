import QtQuick

// Settings that belong together, on a sheet of their own.
Column {
    id: group

    property string title
    default property alias content: rows.data

    width: parent ? parent.width : 0
    spacing: 10

    Text {
        text: group.title
        leftPadding: 4
        font.family: theme.display
        font.italic: true
        font.pixelSize: 17
        color: theme.quiet
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }

    Rectangle {
        width: parent.width
        height: rows.height + 8
        radius: 14
        color: theme.surface
        border.width: 1
        border.color: theme.hairline

        Column {
            id: rows
            x: 18
            y: 4
            width: parent.width - 36
        }
    }
}
