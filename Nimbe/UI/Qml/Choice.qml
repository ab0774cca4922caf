import QtQuick
import QtQuick.Templates as T
import Nimbe

// One of several.
T.ComboBox {
    id: control

    implicitWidth: 220
    implicitHeight: 36
    hoverEnabled: true

    contentItem: Text {
        leftPadding: 12
        rightPadding: 30
        text: control.displayText
        elide: Text.ElideRight
        verticalAlignment: Text.AlignVCenter
        font.family: theme.text
        font.pixelSize: 14
        color: theme.ink
    }
    indicator: Symbol {
        x: control.width - width - 10
        y: (control.height - height) / 2
        width: 16
        height: 16
        name: "chevron.down"
        color: theme.quiet
    }
    background: Rectangle {
        radius: 10
        color: control.hovered || control.down ? theme.sunken : theme.background
        border.width: 1
        border.color: theme.hairline
        FocusRing { control: parent.parent }
    }
    delegate: T.ItemDelegate {
        id: option
        required property string modelData
        required property int index
        width: control.width - 8
        implicitHeight: 34
        highlighted: control.highlightedIndex === index
        hoverEnabled: true
        text: modelData
        contentItem: Text {
            leftPadding: 10
            rightPadding: 28
            text: option.text
            elide: Text.ElideRight
            verticalAlignment: Text.AlignVCenter
            font.family: theme.text
            font.pixelSize: 14
            color: theme.ink
        }
        background: Rectangle {
            radius: 7
            color: option.highlighted ? theme.sunken : "transparent"
            Symbol {
                visible: control.currentIndex === option.index
                anchors.right: parent.right
                anchors.rightMargin: 8
                anchors.verticalCenter: parent.verticalCenter
                width: 16
                height: 16
                name: "checkmark"
                color: theme.accent
            }
        }
    }
    popup: T.Popup {
        y: control.height + 4
        width: control.width
        height: Math.min(list.contentHeight + 8, 300)
        padding: 4
        contentItem: ListView {
            id: list
            clip: true
            implicitHeight: contentHeight
            model: control.popup.visible ? control.delegateModel : null
            currentIndex: control.highlightedIndex
            boundsBehavior: Flickable.StopAtBounds
        }
        background: Item {
            SoftShadow {
                anchors.fill: parent
                anchors.margins: -blur
                blur: 14
                radius: 10
                color: theme.shadow
            }
            Rectangle {
                anchors.fill: parent
                radius: 10
                color: theme.surface
                border.width: 1
                border.color: theme.hairline
            }
        }
    }
}
