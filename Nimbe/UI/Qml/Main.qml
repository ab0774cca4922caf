import QtQuick
import Nimbe

// The window: what needs attention above, below it one of the pages.
FocusScope {
    id: root

    required property QtObject theme
    required property QtObject model
    required property QtObject history
    required property QtObject recorder
    required property QtObject note
    required property QtObject languageModel
    required property QtObject clients

    readonly property bool isWelcome: model.page === "welcome"
    readonly property bool isSettings: model.page === "settings"
    readonly property bool isNote: model.page === "note"
    readonly property bool isHistory: model.page === "history"
    readonly property int margin: 28

    focus: true

    Shortcut {
        sequences: [StandardKey.Close]
        onActivated: root.Window.window.close()
    }
    Shortcut {
        sequences: [StandardKey.Find]
        enabled: root.isHistory
        onActivated: dictations.item.find()
    }
    Shortcut {
        sequence: "Ctrl+,"
        onActivated: root.isSettings ? root.model.goBack() : root.model.showPage("settings")
    }
    Shortcut {
        sequence: "Escape"
        enabled: (root.isSettings && !root.recorder.isRecording) || root.isNote
        onActivated: root.isSettings ? root.model.goBack()
                     : root.note.isTransforming ? root.note.cancel() : root.note.leave()
    }
    Shortcut {
        sequences: ["Ctrl+Return", "Ctrl+Enter", StandardKey.Save]
        enabled: root.isNote && !root.note.isTransforming
        onActivated: root.note.leave()
    }

    Item {
        id: header
        visible: !root.isWelcome
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: root.margin
        anchors.topMargin: 22
        height: !visible ? 0 : root.isHistory ? 66 : 46

        IconButton {
            id: back
            visible: root.isSettings || root.isNote
            anchors.left: parent.left
            anchors.leftMargin: -10
            y: 2
            symbol: "chevron.left"
            text: "Back"
            onClicked: root.isNote ? root.note.leave() : root.model.goBack()
        }
        Text {
            id: title
            anchors.left: back.visible ? back.right : parent.left
            anchors.leftMargin: back.visible ? 4 : 0
            anchors.right: root.isNote ? noteButtons.left : parent.right
            anchors.rightMargin: 8
            y: root.isNote ? 4 : 0
            text: root.isSettings ? "Settings" : root.isNote ? root.note.when : "Nimbe"
            textFormat: Text.PlainText
            elide: Text.ElideRight
            font.family: root.theme.display
            font.pixelSize: root.isNote ? 24 : 32
            color: root.theme.ink
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Row {
            id: noteButtons
            visible: root.isNote
            anchors.right: parent.right
            y: 2
            spacing: 6

            IconButton {
                symbol: "doc.on.doc"
                text: "Copy"
                onClicked: root.note.copy()
            }
            PushButton {
                primary: true
                text: "Done"
                onClicked: root.note.leave()
            }
        }
        Row {
            visible: root.isHistory
            y: 44
            spacing: 8

            Rectangle {
                visible: root.model.isRecording
                anchors.verticalCenter: parent.verticalCenter
                width: 8
                height: 8
                radius: 4
                color: root.theme.accent
            }
            Text {
                width: Math.min(implicitWidth, header.width - 20)
                text: root.model.status
                textFormat: Text.PlainText
                elide: Text.ElideRight
                font.family: root.theme.text
                font.pixelSize: 14
                color: root.theme.quiet
            }
        }
        Row {
            visible: root.isHistory
            anchors.right: parent.right
            anchors.rightMargin: -6
            y: 2
            spacing: 6

            IconButton {
                symbol: "slider.horizontal"
                size: 22
                width: 40
                height: 40
                text: "Settings"
                onClicked: root.model.showPage("settings")
            }
            IconButton {
                filled: true
                symbol: root.model.isRecording ? "checkmark" : "mic.fill"
                width: 40
                height: 40
                enabled: !root.model.isBusy
                text: root.model.isRecording ? "Stop Dictation" : "Start Dictation"
                onClicked: root.model.toggleDictation()
            }
        }
    }

    Column {
        id: banners
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: header.visible ? header.bottom : parent.top
        anchors.leftMargin: root.margin
        anchors.rightMargin: root.margin
        anchors.topMargin: header.visible ? 12 : root.margin
        spacing: 10

        Banner {
            visible: root.model.hasCrashBanner
            width: parent.width
            symbol: "exclamationmark.triangle.fill"
            text: root.model.crashText
            note: root.model.localOnlyNote

            PushButton {
                text: root.model.reportTitle
                onClicked: root.model.reportProblem()
            }
            PushButton {
                visible: root.model.localOnlyTitle.length > 0
                text: root.model.localOnlyTitle
                onClicked: root.model.relaunchLocalOnly()
            }
            PushButton {
                text: "Dismiss"
                onClicked: root.model.dismissCrash()
            }
        }
        Banner {
            visible: root.model.update.length > 0 && !root.isWelcome
            width: parent.width
            symbol: "arrow.down.circle.fill"
            text: root.model.update
            slim: true

            PushButton {
                text: "Download"
                onClicked: root.model.openDownloadPage()
            }
        }
        Banner {
            visible: root.model.offersKeepingAll && root.isHistory
            width: parent.width
            symbol: "archivebox.fill"
            text: "Keep every dictation?"
            note: "Nimbe keeps the last 100. It can keep all of them, encrypted, on this computer, "
                  + "for you to search, and for AI clients that you connect."

            PushButton {
                text: "Keep all"
                onClicked: root.model.answerKeepingAll(true)
            }
            PushButton {
                text: "Not now"
                onClicked: root.model.answerKeepingAll(false)
            }
        }
        Banner {
            visible: root.history.problem.length > 0 && root.isHistory
            width: parent.width
            symbol: "exclamationmark.triangle.fill"
            text: root.history.problem
        }
    }

    // It stays while other pages are shown, and with it the place where the reader was.
    Loader {
        id: dictations
        anchors.fill: content
        visible: root.isHistory
        active: !root.isWelcome
        sourceComponent: HistoryPage {
            model: root.model
            history: root.history
            onEdit: (id) => { if (root.note.open(id)) root.model.showPage("note") }
        }
    }
    Loader {
        id: content
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: banners.bottom
        anchors.bottom: parent.bottom
        anchors.leftMargin: root.margin
        anchors.rightMargin: root.margin
        anchors.topMargin: banners.height > 0 ? 16 : 0
        sourceComponent: root.isWelcome ? welcomePage : root.isSettings ? settingsPage
                         : root.isNote ? notePage : undefined
    }

    // The page that is shown has the keyboard.
    function hand() { isHistory ? dictations.item?.takeKeyboard() : content.forceActiveFocus() }
    onIsHistoryChanged: hand()
    onIsSettingsChanged: hand()
    Component.onCompleted: hand()

    Component {
        id: welcomePage
        WelcomePage { model: root.model }
    }
    Component {
        id: notePage
        NotePage {
            focus: true
            note: root.note
            languageModel: root.languageModel
            onSetUp: {
                root.model.showPage("settings")
                content.item.showLanguageModel()
            }
        }
    }
    Component {
        id: settingsPage
        SettingsPage {
            model: root.model
            recorder: root.recorder
            languageModel: root.languageModel
            clients: root.clients
        }
    }
}
