import QtQuick
import QtQuick.Templates as T
import Nimbe

// A button with a symbol; its name is for those who cannot see it, and for the tip.
T.Button {
    id: control

    property string symbol
    property real size: 20
    property color tint: theme.quiet
    property bool filled: false

    implicitWidth: 36
    implicitHeight: 36
    hoverEnabled: true
    Keys.onReturnPressed: (event) => enter(event)
    Keys.onEnterPressed: (event) => enter(event)
    Accessible.name: text

    contentItem: Item {
        Symbol {
            anchors.centerIn: parent
            width: control.size
            height: control.size
            name: control.symbol
            color: control.filled ? theme.onAccent : control.hovered || control.visualFocus ? theme.ink : control.tint
        }
    }
    background: Rectangle {
        radius: control.filled ? height / 2 : 10
        color: control.filled ? (!control.enabled ? theme.faint : control.down ? Qt.darker(theme.accent, 1.12) : theme.accent)
                              : control.down || control.hovered ? theme.sunken : "transparent"
        FocusRing { control: parent.parent }
    }

    Tip { control: parent }

    // As Space does; a key that is still held from what brought the keyboard here does not.
    function enter(event) {
        if (!event.isAutoRepeat)
            control.clicked()
    }
}
