import QtQuick
import QtQuick.Templates as T

// A button with words. One on a page is `primary`.
T.Button {
    id: control

    property bool primary: false

    implicitWidth: label.implicitWidth + 28
    implicitHeight: 36
    hoverEnabled: true
    Accessible.name: text

    contentItem: Text {
        id: label
        text: control.text
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        font.family: theme.text
        font.pixelSize: 14
        font.weight: Font.Bold
        color: !control.enabled ? theme.faint : control.primary ? theme.onAccent : theme.ink
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
}
