import QtQuick
import QtQuick.Templates as T
import Nimbe

// A note, to be written in and to be reshaped.
FocusScope {
    id: page

    required property QtObject note
    required property QtObject languageModel
    signal setUp()

    readonly property bool looks: Window.visibility !== Window.Hidden && Window.visibility !== Window.Minimized
    readonly property bool isShort: height < 420

    Binding {
        target: page.languageModel
        property: "isWatched"
        value: page.looks
    }
    Component.onDestruction: page.languageModel.isWatched = false

    Connections {
        target: page.note
        function onDictated(text) {
            const field = wish.activeFocus ? wish : editor
            field.remove(field.selectionStart, field.selectionEnd)
            const before = field.text.charAt(field.cursorPosition - 1)
            field.insert(field.cursorPosition, (/^$|[\s(\[{“„‘«]/.test(before) ? "" : " ") + text)
        }
    }

    Rectangle {
        id: sheet
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.bottom: foot.top
        anchors.bottomMargin: page.isShort ? 8 : 12
        radius: 14
        color: theme.surface
        border.width: editor.activeFocus && !editor.readOnly ? 2 : 1
        border.color: editor.activeFocus && !editor.readOnly ? theme.accent : theme.hairline

        Flickable {
            id: paper
            anchors.fill: parent
            anchors.margins: 2
            contentHeight: editor.height
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            interactive: contentHeight > height

            function follow(top, bottom) {
                if (top < contentY + 14)
                    contentY = Math.max(0, top - 14)
                else if (bottom > contentY + height - 14)
                    contentY = Math.max(0, Math.min(bottom + 16, contentHeight) - height)
            }

            TextEdit {
                id: editor
                width: paper.width
                height: Math.max(implicitHeight, paper.height)
                topPadding: 16
                bottomPadding: 18
                leftPadding: 18
                rightPadding: 18
                focus: true
                activeFocusOnTab: true
                readOnly: page.note.isTransforming
                wrapMode: TextEdit.Wrap
                textFormat: TextEdit.PlainText
                selectByMouse: true
                persistentSelection: true
                font.family: theme.display
                font.pixelSize: 18
                color: readOnly ? theme.quiet : theme.ink
                selectionColor: theme.accent
                selectedTextColor: theme.onAccent
                Accessible.role: Accessible.EditableText
                Accessible.name: "Note"
                Accessible.multiLine: true

                Component.onCompleted: {
                    page.note.show(textDocument)
                    cursorPosition = length
                }
                onCursorRectangleChanged: paper.follow(cursorRectangle.y, cursorRectangle.y + cursorRectangle.height)
                onContentHeightChanged: if (readOnly) paper.contentY = Math.max(0, paper.contentHeight - paper.height)
                Keys.onPressed: (event) => {
                    if (event.key === Qt.Key_Tab || event.key === Qt.Key_Backtab) {
                        const forward = event.key === Qt.Key_Tab
                        nextItemInFocusChain(forward).forceActiveFocus(forward ? Qt.TabFocusReason : Qt.BacktabFocusReason)
                        event.accepted = true
                    }
                }
            }

            T.ScrollBar.vertical: T.ScrollBar {
                id: bar
                implicitWidth: 8
                contentItem: Rectangle {
                    implicitWidth: 5
                    radius: 3
                    color: theme.faint
                    visible: bar.size < 1 && (bar.active || bar.hovered)
                }
            }
        }
    }

    Column {
        id: foot
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.bottomMargin: page.isShort ? 14 : 24
        spacing: page.isShort ? 8 : 10

        // What must be known of the text, and the ways back.
        Item {
            width: parent.width
            height: Math.max(said.height, back.height)
            visible: said.text.length > 0 || page.note.canUndo || page.note.hasOriginal

            Text {
                id: said
                readonly property bool isLoud: page.note.notice.length > 0
                anchors.left: parent.left
                anchors.leftMargin: 4
                anchors.right: back.left
                anchors.rightMargin: 12
                anchors.verticalCenter: parent.verticalCenter
                text: isLoud ? page.note.notice : page.note.saving
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
                font.family: theme.text
                font.pixelSize: isLoud ? 14 : 13
                font.weight: isLoud ? Font.Bold : Font.Normal
                color: isLoud ? theme.ink : theme.quiet
                Accessible.role: isLoud ? Accessible.AlertMessage : Accessible.StaticText
                Accessible.name: text
            }
            Row {
                id: back
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                spacing: 8

                PushButton {
                    visible: page.note.answer.length > 0
                    primary: true
                    text: page.note.answer
                    onClicked: page.note.reply(false)
                }
                PushButton {
                    visible: page.note.otherAnswer.length > 0
                    text: page.note.otherAnswer
                    onClicked: page.note.reply(true)
                }
                PushButton {
                    visible: page.note.canUndo && page.note.answer.length === 0
                    symbol: "arrow.uturn.backward"
                    text: "Undo"
                    onClicked: {
                        page.note.undo()
                        editor.forceActiveFocus()
                    }
                }
                PushButton {
                    visible: page.note.hasOriginal && page.note.answer.length === 0
                    text: "Original"
                    Accessible.description: "The text as it was dictated"
                    onClicked: {
                        page.note.restoreOriginal()
                        editor.forceActiveFocus()
                    }
                }
            }
        }

        // The ways to reshape it.
        Item {
            width: parent.width
            height: offers.height

            Column {
                id: offers
                visible: !page.note.isTransforming
                width: parent.width
                spacing: page.isShort ? 8 : 10

                Flow {
                    width: parent.width
                    spacing: 8

                    Repeater {
                        id: presets
                        model: page.note.transforms

                        PushButton {
                            required property var modelData
                            required property int index
                            enabled: page.note.canTransform
                            symbol: modelData.symbol
                            text: modelData.title
                            Accessible.description: modelData.detail
                            onClicked: page.reshape(() => page.note.start(index))
                        }
                    }
                }
                Item {
                    width: parent.width
                    height: wish.height

                    TextLine {
                        id: wish
                        anchors.left: parent.left
                        anchors.right: go.left
                        anchors.rightMargin: 8
                        height: 40
                        enabled: page.languageModel.isAvailable
                        symbol: "wand.and.stars"
                        placeholderText: "Reshape it: make it …"
                        Keys.onReturnPressed: go.clicked()
                        Keys.onEnterPressed: go.clicked()
                    }
                    IconButton {
                        id: go
                        anchors.right: parent.right
                        anchors.verticalCenter: parent.verticalCenter
                        width: 40
                        height: 40
                        filled: true
                        enabled: page.note.canTransform && wish.text.trim().length > 0
                        symbol: "arrow.up"
                        size: 18
                        text: "Reshape"
                        onClicked: if (enabled) page.reshape(() => page.note.reshape(wish.text))
                    }
                }
                Item {
                    visible: !page.languageModel.isAvailable
                    width: parent.width
                    height: Math.max(why.implicitHeight, setUpButton.implicitHeight)

                    Text {
                        id: why
                        anchors.left: parent.left
                        anchors.leftMargin: 4
                        anchors.right: setUpButton.left
                        anchors.rightMargin: 12
                        anchors.verticalCenter: parent.verticalCenter
                        text: page.languageModel.status
                        textFormat: Text.PlainText
                        wrapMode: Text.Wrap
                        font.family: theme.text
                        font.pixelSize: 13
                        color: theme.quiet
                    }
                    PushButton {
                        id: setUpButton
                        anchors.right: parent.right
                        anchors.verticalCenter: parent.verticalCenter
                        text: "Set up…"
                        onClicked: page.setUp()
                    }
                }
            }

            Row {
                visible: page.note.isTransforming
                anchors.left: parent.left
                anchors.leftMargin: 4
                anchors.verticalCenter: parent.verticalCenter
                spacing: 12

                Working {
                    anchors.verticalCenter: parent.verticalCenter
                    running: page.note.isTransforming
                }
                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    text: page.note.working
                    font.family: theme.text
                    font.pixelSize: 15
                    color: theme.ink
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
            }
            PushButton {
                id: cancel
                visible: page.note.isTransforming
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                text: "Cancel"
                onClicked: page.note.cancel()
                onVisibleChanged: if (!visible && activeFocus) editor.forceActiveFocus()
            }
        }
    }

    function reshape(begin) {
        Qt.inputMethod.commit()
        begin()
        if (page.note.isTransforming) cancel.forceActiveFocus(Qt.TabFocusReason)
    }
}
