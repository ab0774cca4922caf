import QtQuick
import Nimbe

// A line above everything else, with what can be done about it.
Rectangle {
    id: banner

    property string symbol
    property string text
    property string note
    property bool slim: false // one line, the buttons at its end
    default property alias content: buttons.data

    implicitHeight: slim ? 52 : words.height + 32
    radius: 14
    color: theme.accentSoft

    Symbol {
        id: icon
        x: 18
        y: banner.slim ? 15 : 17
        width: 22
        height: 22
        name: banner.symbol
        color: theme.accent
    }

    Column {
        id: words
        x: 54
        y: banner.slim ? 15 : 16
        width: banner.slim ? buttons.x - x - 10 : parent.width - x - 18
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
        Item {
            visible: buttons.children.length > 0 && !banner.slim
            width: 1
            height: buttons.height
        }
    }
    Flow {
        id: buttons
        visible: children.length > 0
        spacing: 8
        x: banner.slim ? parent.width - width - 8 : 54
        y: banner.slim ? 8 : parent.height - height - 16
        width: banner.slim ? childrenRect.width : parent.width - 54 - 12
    }
}
