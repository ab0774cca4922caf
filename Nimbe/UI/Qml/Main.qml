import QtQuick
import Nimbe

// The window: what needs attention above, below it one of three pages.
FocusScope {
    id: root

    required property QtObject theme
    required property QtObject model
    required property QtObject history
    required property QtObject recorder

    readonly property bool isWelcome: model.page === "welcome"
    readonly property bool isSettings: model.page === "settings"
    readonly property int margin: 28

    focus: true

    Shortcut {
        sequences: [StandardKey.Close]
        onActivated: root.Window.window.close()
    }
    Shortcut {
        sequences: [StandardKey.Find]
        enabled: root.model.page === "history"
        onActivated: content.item.find()
    }
    Shortcut {
        sequence: "Ctrl+,"
        onActivated: root.model.showPage(root.isSettings ? "history" : "settings")
    }
    Shortcut {
        sequence: "Escape"
        enabled: root.isSettings && !root.recorder.isRecording
        onActivated: root.model.showPage("history")
    }

    Item {
        id: header
        visible: !root.isWelcome
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.margins: root.margin
        anchors.topMargin: 22
        height: !visible ? 0 : root.isSettings ? 46 : 66

        IconButton {
            id: back
            visible: root.isSettings
            anchors.left: parent.left
            anchors.leftMargin: -10
            y: 2
            symbol: "chevron.left"
            text: "Back"
            onClicked: root.model.showPage("history")
        }
        Text {
            id: title
            anchors.left: back.visible ? back.right : parent.left
            anchors.leftMargin: back.visible ? 4 : 0
            text: root.isSettings ? "Settings" : "Nimbe"
            font.family: root.theme.display
            font.pixelSize: 32
            color: root.theme.ink
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Row {
            visible: !root.isSettings
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
            visible: !root.isSettings
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
            visible: root.history.problem.length > 0 && root.model.page === "history"
            width: parent.width
            symbol: "exclamationmark.triangle.fill"
            text: root.history.problem
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
        focus: true
        sourceComponent: root.isWelcome ? welcomePage : root.isSettings ? settingsPage : historyPage
    }

    Component {
        id: welcomePage
        WelcomePage { model: root.model }
    }
    Component {
        id: historyPage
        HistoryPage {
            model: root.model
            history: root.history
        }
    }
    Component {
        id: settingsPage
        SettingsPage {
            model: root.model
            recorder: root.recorder
        }
    }
}
