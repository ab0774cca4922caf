import QtQuick
import QtQuick.Templates as T

// A switch.
T.Switch {
    id: control

    implicitWidth: 44
    implicitHeight: 26
    hoverEnabled: true
    Accessible.name: text

    indicator: Rectangle {
        width: 44
        height: 26
        radius: 13
        color: control.checked ? theme.accent : theme.faint
        opacity: control.enabled ? 1 : 0.5

        Rectangle {
            x: control.checked ? parent.width - width - 3 : 3
            y: 3
            width: 20
            height: 20
            radius: 10
            color: control.checked && theme.dark ? theme.onAccent : "#ffffff"

            Behavior on x {
                enabled: !theme.reducesMotion
                NumberAnimation { duration: 110; easing.type: Easing.OutCubic }
            }
        }
        FocusRing { control: parent.parent }
    }
}
