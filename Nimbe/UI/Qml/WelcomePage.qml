import QtQuick
import QtQuick.Templates as T
import Nimbe

// The first run: how to dictate, and a place to try it.
Flickable {
    id: page

    required property QtObject model

    contentHeight: Math.max(column.implicitHeight, height)
    clip: true
    boundsBehavior: Flickable.StopAtBounds

    Column {
        id: column
        width: Math.min(page.width, 460)
        anchors.horizontalCenter: parent.horizontalCenter
        topPadding: 8
        spacing: 22

        Rectangle {
            width: 60
            height: 60
            radius: 17
            color: theme.accent

            Symbol {
                anchors.centerIn: parent
                width: 36
                height: 36
                name: "waveform"
                color: theme.onAccent
            }
        }

        Text {
            width: parent.width
            text: "Say it. It’s written."
            wrapMode: Text.Wrap
            font.family: theme.display
            font.pixelSize: 38
            color: theme.ink
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }

        Column {
            width: parent.width
            spacing: 16

            Repeater {
                model: [
                    { before: "Hold", key: true, after: "and speak." },
                    { before: "Let go. The text is where you were typing.", key: false, after: "" },
                    { before: "Tap", key: true, after: "twice to speak hands-free." }
                ]

                Row {
                    id: step
                    required property var modelData
                    required property int index
                    spacing: 9

                    Text {
                        anchors.verticalCenter: parent.verticalCenter
                        width: 24
                        text: step.index + 1
                        font.family: theme.display
                        font.italic: true
                        font.pixelSize: 24
                        color: theme.accent
                    }
                    Text {
                        anchors.verticalCenter: parent.verticalCenter
                        height: Math.max(32, implicitHeight)
                        verticalAlignment: Text.AlignVCenter
                        text: step.modelData.before
                        font.family: theme.text
                        font.pixelSize: 16
                        color: theme.ink
                    }
                    KeyCap {
                        visible: step.modelData.key
                        text: page.model.triggerName
                    }
                    Text {
                        visible: text.length > 0
                        anchors.verticalCenter: parent.verticalCenter
                        text: step.modelData.after
                        font.family: theme.text
                        font.pixelSize: 16
                        color: theme.ink
                    }
                }
            }
        }

        Rectangle {
            width: parent.width
            height: Math.max(112, field.contentHeight + 36)
            radius: 14
            color: theme.surface
            border.width: field.activeFocus ? 2 : 1
            border.color: field.activeFocus ? theme.accent : theme.hairline

            TextEdit {
                id: field
                anchors.fill: parent
                anchors.margins: 18
                focus: true
                activeFocusOnTab: true
                wrapMode: TextEdit.Wrap
                textFormat: TextEdit.PlainText
                selectByMouse: true
                font.family: theme.display
                font.pixelSize: 19
                color: theme.ink
                selectionColor: theme.accent
                selectedTextColor: theme.onAccent
                KeyNavigation.priority: KeyNavigation.BeforeItem
                KeyNavigation.tab: done
                Accessible.role: Accessible.EditableText
                Accessible.name: "Try it here"

                Text {
                    visible: field.text.length === 0 && field.preeditText.length === 0
                    text: "Try it here: hold " + page.model.triggerName + " and say something."
                    width: parent.width
                    wrapMode: Text.Wrap
                    font.family: theme.display
                    font.italic: true
                    font.pixelSize: 19
                    color: theme.quiet
                }

                Connections {
                    target: page.model
                    function onHeardChanged() {
                        field.insert(field.length, (field.length > 0 ? " " : "") + page.model.heard)
                    }
                }
            }
        }

        Text {
            width: parent.width
            text: "Your voice and your words stay on this computer."
            wrapMode: Text.Wrap
            font.family: theme.text
            font.pixelSize: 14
            color: theme.quiet
        }

        PushButton {
            id: done
            primary: true
            text: "Start using Nimbe"
            implicitHeight: 42
            onClicked: page.model.finishWelcome()
        }
    }
}
