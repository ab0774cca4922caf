import QtQuick
import QtQuick.Templates as T
import Nimbe

// All settings on one page.
Flickable {
    id: page

    required property QtObject model
    required property QtObject recorder
    required property QtObject languageModel
    required property QtObject clients

    readonly property Item focused: Window.activeFocusItem
    onFocusedChanged: reveal(focused)

    // Not on a click: what moves away from under the mouse is not clicked.
    function reveal(item) {
        let inside = item
        while (inside && inside !== column)
            inside = inside.parent
        if (!inside || item.focusReason === Qt.MouseFocusReason)
            return
        const top = item.mapToItem(column, 0, 0).y
        if (top < contentY + 60)
            contentY = Math.round(Math.max(0, top - 60))
        else if (top + item.height > contentY + height - 40)
            contentY = Math.round(Math.max(0, Math.min(top + item.height + 40, contentHeight) - height))
    }

    readonly property bool looks: Window.visibility !== Window.Hidden && Window.visibility !== Window.Minimized

    function showLanguageModel() {
        contentY = Math.round(Math.max(0, Math.min(cleanup.y, contentHeight - height)))
        cleanupToggle.forceActiveFocus()
    }

    Binding {
        target: page.languageModel
        property: "isWatched"
        value: page.looks
    }
    onLooksChanged: if (looks) page.clients.refresh()
    Component.onDestruction: page.languageModel.isWatched = false

    contentHeight: column.height + 32
    clip: true
    boundsBehavior: Flickable.StopAtBounds

    Column {
        id: column
        width: parent.width
        spacing: 26

        Text {
            visible: text.length > 0
            width: parent.width
            text: page.model.problem || page.languageModel.problem
            wrapMode: Text.Wrap
            font.family: theme.text
            font.pixelSize: 14
            font.weight: Font.Bold
            color: theme.ink
        }

        Group {
            title: "Dictation"

            SettingRow {
                title: "Trigger"
                detail: page.model.usesChord
                        ? "Hold the chord and speak, or press it twice for hands-free."
                        : "Hold Alt (Option) alone and speak, or tap it twice for hands-free."

                KeyCap {
                    text: page.model.triggerName
                    size: 14
                }
            }
            SettingRow {
                title: "Custom shortcut"
                detail: page.recorder.error.length > 0 ? page.recorder.error
                        : page.recorder.isRecording ? "Esc stops recording." : "In place of the Alt key."

                Row {
                    spacing: 6

                    PushButton {
                        id: record
                        text: page.recorder.title
                        primary: page.recorder.isRecording
                        Accessible.name: "Custom shortcut: " + text
                        onClicked: {
                            forceActiveFocus()
                            page.recorder.isRecording ? page.recorder.stop() : page.recorder.start()
                        }
                        onActiveFocusChanged: if (!activeFocus) page.recorder.stop()
                        takesEnter: !page.recorder.isRecording
                        Keys.priority: Keys.BeforeItem
                        Keys.onShortcutOverride: (event) => event.accepted = page.recorder.isRecording
                        Keys.onPressed: (event) =>
                            event.accepted = page.recorder.keyPressed(event.key, event.modifiers, event.nativeScanCode)
                        Keys.onReleased: (event) => page.recorder.keyReleased(event.modifiers)
                    }
                    IconButton {
                        visible: page.recorder.hasShortcut && !page.recorder.isRecording
                        symbol: "xmark"
                        size: 16
                        text: "Clear shortcut"
                        onClicked: page.recorder.clear()
                    }
                }
            }
            SettingRow {
                title: "Microphone"

                Choice {
                    model: page.model.microphones
                    currentIndex: page.model.microphone
                    Accessible.name: "Microphone"
                    onActivated: (index) => page.model.selectMicrophone(index)
                }
            }
            SettingRow {
                title: "Sound when text is inserted"
                last: true

                Toggle {
                    text: "Sound when text is inserted"
                    checked: page.model.insertSound
                    onToggled: page.model.insertSound = checked
                }
            }
        }

        Group {
            id: cleanup
            title: "AI cleanup"

            SettingRow {
                title: "Polish dictations with a language model"
                detail: "On this computer: one that llama.cpp, Ollama or LM Studio serves."

                Toggle {
                    id: cleanupToggle
                    text: "Polish dictations with a language model"
                    checked: page.languageModel.isCleanupOn
                    onToggled: page.languageModel.isCleanupOn = checked
                }
            }
            SettingRow {
                title: "Language model"
                detail: page.languageModel.status

                Choice {
                    model: page.languageModel.models
                    currentIndex: page.languageModel.model
                    Accessible.name: "Language model"
                    Accessible.description: page.languageModel.status
                    onActivated: (index) => page.languageModel.model = index
                }
            }
            SettingRow {
                title: "Server"
                detail: page.languageModel.addressProblem.length > 0 ? page.languageModel.addressProblem
                        : "Left empty, the usual ports of this computer are tried."
                loud: page.languageModel.addressProblem.length > 0

                TextLine {
                    placeholderText: "Found by itself"
                    value: page.languageModel.address
                    Accessible.name: "Address of the language model's server"
                    onEntered: (text) => page.languageModel.enterAddress(text)
                }
            }
            SettingRow {
                title: "Allow a server on another machine"
                detail: "What you dictate then leaves this computer."

                Toggle {
                    text: "Allow a server on another machine"
                    checked: page.languageModel.allowsOtherHosts
                    onToggled: page.languageModel.allowsOtherHosts = checked
                }
            }
            SettingRow {
                title: "Style"
                detail: page.languageModel.styleNote

                Choice {
                    implicitWidth: 150
                    model: page.languageModel.styles
                    currentIndex: page.languageModel.style
                    Accessible.name: "Style"
                    Accessible.description: page.languageModel.styleNote
                    onActivated: (index) => page.languageModel.style = index
                }
            }
            SettingRow {
                title: "Sign e-mails as"
                last: true

                TextLine {
                    placeholderText: "Your name"
                    value: page.languageModel.signature
                    Accessible.name: "Sign e-mails as"
                    onEntered: (text) => page.languageModel.enterSignature(text)
                }
            }
        }

        Group {
            title: "History"

            SettingRow {
                title: "Keep every dictation"
                detail: page.model.keepsAll
                        ? "Encrypted, on this computer. Turned off, what is kept stays until you delete it."
                        : "Encrypted, on this computer, not the last 100 alone."
                last: true

                Toggle {
                    text: "Keep every dictation"
                    checked: page.model.keepsAll
                    onToggled: page.model.keepsAll = checked
                }
            }
        }

        Group {
            title: "Markdown export"

            SettingRow {
                title: "Folder"
                detail: page.model.exportResult.length > 0 ? page.model.exportResult
                        : page.model.exportFolder.length > 0 ? page.model.exportFolder
                        : "One file for each dictation, in a vault of notes for instance."

                Row {
                    spacing: 6

                    PushButton {
                        text: page.model.exportFolder.length > 0 ? "Export all" : "Choose…"
                        onClicked: page.model.exportFolder.length > 0 ? page.model.exportAll()
                                                                      : page.model.chooseExportFolder()
                    }
                    IconButton {
                        visible: page.model.exportFolder.length > 0
                        symbol: "xmark"
                        size: 16
                        text: "Forget the folder"
                        onClicked: page.model.clearExportFolder()
                    }
                }
            }
            SettingRow {
                title: "Export each dictation"
                detail: "As it is made."
                last: true

                Toggle {
                    text: "Export each dictation"
                    enabled: page.model.exportFolder.length > 0
                    checked: page.model.autoExport
                    onToggled: page.model.autoExport = checked
                }
            }
        }

        Group {
            title: "AI clients"

            SettingRow {
                title: "Let an AI client read the dictations"
                detail: page.clients.status
                loud: page.clients.hasFailed

                PushButton {
                    text: page.clients.isConnected ? "Disconnect" : "Connect Claude Desktop"
                    Accessible.description: page.clients.status
                    onClicked: page.clients.toggle()
                }
            }
            SettingRow {
                title: "Other clients"
                detail: "To run in a shell: it connects Claude Code."
                last: true

                PushButton {
                    text: page.clients.isCommandCopied ? "Copied" : "Copy command"
                    onClicked: page.clients.copyCommand()
                }
            }
        }

        Group {
            title: "Nimbe"

            SettingRow {
                title: "Start at login"

                Toggle {
                    text: "Start at login"
                    checked: page.model.startAtLogin
                    onToggled: page.model.startAtLogin = checked
                }
            }
            SettingRow {
                title: "Show in the panel"
                detail: "Hidden, this window comes back when you start Nimbe again."

                Toggle {
                    text: "Show in the panel"
                    checked: page.model.trayItem
                    onToggled: page.model.trayItem = checked
                }
            }
            SettingRow {
                title: "Reduce motion"
                detail: "The overlay comes and goes without fading."

                Toggle {
                    text: "Reduce motion"
                    checked: page.model.reduceMotion
                    onToggled: page.model.reduceMotion = checked
                }
            }
            SettingRow {
                title: "Check for updates"
                detail: "Once a day, where an update service is set. Nothing is installed by itself."
                last: true

                Toggle {
                    text: "Check for updates"
                    checked: page.model.updateChecks
                    onToggled: page.model.updateChecks = checked
                }
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
