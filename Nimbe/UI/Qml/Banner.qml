import QtQuick
import Nimbe

// A line above everything else, with what can be done about it.
Rectangle {
    id: banner

    property string symbol
    property string text
    property string note
    default property alias content: buttons.data

    implicitHeight: words.height + 32
    radius: 14
    color: theme.accentSoft

    Symbol {
        id: icon
        x: 18
        y: 17
        width: 22
        height: 22
        name: banner.symbol
        color: theme.accent
    }

    Column {
        id: words
        x: 54
        y: 16
        width: parent.width - x - 18
        spacing: 12

        Text {
            width: parent.width
            topPadding: 2
            text: banner.text
            wrapMode: Text.Wrap
            font.family: theme.text
            font.pixelSize: 15
            font.weight: Font.Bold
            color: theme.ink
        }
        Text {
            width: parent.width
            visible: text.length > 0
            text: banner.note
            wrapMode: Text.Wrap
            font.family: theme.text
            font.pixelSize: 13
            color: theme.quiet
        }
        Flow {
            id: buttons
            width: parent.width
            spacing: 8
            visible: children.length > 0
        }
    }
}
