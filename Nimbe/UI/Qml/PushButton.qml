import QtQuick
import QtQuick.Templates as T
import Nimbe

// A button with words, and a symbol before them if it is given. One on a page is `primary`.
T.Button {
    id: control

    property bool primary: false
    property string symbol
    property bool takesEnter: true
    readonly property color tint: !control.enabled ? theme.faint : control.primary ? theme.onAccent : theme.ink

    implicitWidth: words.implicitWidth + 28
    implicitHeight: 36
    hoverEnabled: true
    Keys.onReturnPressed: (event) => enter(event)
    Keys.onEnterPressed: (event) => enter(event)
    Accessible.name: text

    contentItem: Item {
        Row {
            id: words
            anchors.centerIn: parent
            spacing: 7

            Symbol {
                visible: control.symbol.length > 0
                anchors.verticalCenter: parent.verticalCenter
                width: 17
                height: 17
                name: control.symbol
                color: !control.enabled ? theme.faint : control.primary ? theme.onAccent : theme.accent
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: control.text
                font.family: theme.text
                font.pixelSize: 14
                font.weight: Font.Bold
                color: control.tint
            }
        }
    }
    background: Rectangle {
        radius: 10
        color: control.primary ? (control.down ? Qt.darker(theme.accent, 1.12)
                                               : control.hovered ? Qt.lighter(theme.accent, 1.06) : theme.accent)
                               : control.down || control.hovered ? theme.sunken : theme.surface
        border.width: control.primary ? 0 : 1
        border.color: theme.hairline
        FocusRing { control: parent.parent }
    }

    // As Space does; a key that is still held from what brought the keyboard here does not.
    function enter(event) {
        event.accepted = control.takesEnter
        if (event.accepted && !event.isAutoRepeat)
            control.clicked()
    }
}
