import QtQuick
import QtQuick.Templates as T
import Nimbe

// One line to write into. What was written is `entered` with Enter and when the field is
// left.
T.TextField {
    id: field

    property string value // as it is stored
    property string symbol
    signal entered(string text)

    function enter() { if (text !== value) entered(text) }

    implicitWidth: 220
    implicitHeight: 36
    leftPadding: symbol.length > 0 ? 38 : 12
    rightPadding: 12
    verticalAlignment: TextInput.AlignVCenter
    hoverEnabled: true
    selectByMouse: true
    font.family: theme.text
    font.pixelSize: 14
    color: enabled ? theme.ink : theme.quiet
    selectionColor: theme.accent
    selectedTextColor: theme.onAccent
    Accessible.role: Accessible.EditableText
    Accessible.name: placeholderText

    onValueChanged: text = value
    onEditingFinished: enter()
    Component.onDestruction: enter()

    background: Rectangle {
        radius: 10
        color: theme.background
        border.width: field.activeFocus ? 2 : 1
        border.color: field.activeFocus ? theme.accent : field.hovered ? theme.faint : theme.hairline

        Symbol {
            visible: field.symbol.length > 0
            x: 12
            anchors.verticalCenter: parent.verticalCenter
            width: 17
            height: 17
            name: field.symbol
            color: field.enabled ? theme.accent : theme.faint
        }
    }
    Text {
        anchors.fill: parent
        anchors.leftMargin: field.leftPadding
        anchors.rightMargin: field.rightPadding
        visible: field.text.length === 0 && field.preeditText.length === 0
        text: field.placeholderText
        elide: Text.ElideRight
        verticalAlignment: Text.AlignVCenter
        font: field.font
        color: field.enabled ? theme.quiet : theme.faint
    }
}
