import QtQuick
import Nimbe

// The recording overlay: a pill that grows with what it has to say. It stands on the lower
// edge of its window, which keeps its size.
Item {
    id: root

    required property QtObject capture
    required property QtObject theme
    property bool translucent: true

    readonly property bool hasText: capture.transcript.length > 0 && capture.stage !== "result"
    readonly property bool showsMeter: capture.stage === "recording" || capture.stage === "finalizing"
    readonly property int shadowRoom: 30

    SoftShadow {
        visible: root.translucent
        anchors.fill: pill
        anchors.margins: -blur
        anchors.topMargin: -blur + 6
        anchors.bottomMargin: -blur - 6
        blur: 22
        radius: pill.radius
        color: root.theme.shadow
    }

    // The corners of a window that is cut to shape are not smooth: a border all through.
    Rectangle {
        visible: !root.translucent
        anchors.fill: pill
        color: root.theme.hairline
    }

    Rectangle {
        id: pill
        objectName: "pill"

        anchors.horizontalCenter: parent.horizontalCenter
        y: parent.height - height - root.shadowRoom
        width: Math.round(content.width + 2 * (root.hasText ? 26 : 24))
        height: Math.round(Math.max(52, content.height + (root.hasText || root.capture.note ? 34 : 24)))
        radius: root.hasText ? 24 : Math.min(26, height / 2)
        color: root.theme.pill
        border.width: 1
        border.color: root.theme.hairline
        antialiasing: root.translucent

        Behavior on width {
            enabled: !root.theme.reducesMotion && root.opacity > 0.5
            NumberAnimation { duration: 160; easing.type: Easing.OutCubic }
        }
        Behavior on height {
            enabled: !root.theme.reducesMotion && root.opacity > 0.5
            NumberAnimation { duration: 160; easing.type: Easing.OutCubic }
        }

        Item {
            anchors.fill: parent
            anchors.margins: 1
            clip: true

            Row {
                id: content
                anchors.centerIn: parent
                spacing: root.hasText ? 20 : 14

                LevelMeter {
                    id: meter
                    visible: root.showsMeter
                    anchors.verticalCenter: parent.verticalCenter
                    width: root.hasText ? 52 : 118
                    height: 28
                    levels: root.capture.stage === "recording" ? root.capture.levels : []
                    color: root.theme.accent
                    restColor: root.theme.faint
                    Accessible.role: Accessible.ProgressBar
                    Accessible.name: "Audio level meter"
                }

                Symbol {
                    visible: root.capture.stage === "result"
                    anchors.verticalCenter: parent.verticalCenter
                    width: 24
                    height: 24
                    name: root.capture.symbol
                    color: root.capture.symbol === "checkmark.circle.fill" ? root.theme.accent : root.theme.ink
                    Accessible.ignored: true
                }

                Column {
                    visible: root.hasText || root.capture.hint.length > 0 || root.capture.stage === "result"
                    anchors.verticalCenter: parent.verticalCenter
                    spacing: 5

                    Text {
                        id: words
                        visible: root.hasText
                        width: Math.min(Math.ceil(implicitWidth), root.capture.transcriptWidth)
                        text: root.capture.transcript
                        textFormat: Text.PlainText
                        wrapMode: Text.Wrap
                        font.family: root.theme.display
                        font.pixelSize: root.capture.transcriptSize
                        lineHeight: 1.1
                        color: root.capture.stage === "finalizing" ? root.theme.quiet : root.theme.ink
                    }

                    Text {
                        id: message
                        visible: root.capture.stage === "result"
                        width: Math.min(implicitWidth, 430)
                        text: root.capture.message
                        textFormat: Text.PlainText
                        wrapMode: Text.Wrap
                        maximumLineCount: 2
                        elide: Text.ElideRight
                        font.family: root.theme.text
                        font.pixelSize: 15
                        font.weight: Font.Bold
                        color: root.theme.ink
                    }

                    Text {
                        id: hint
                        visible: text.length > 0
                        width: Math.min(implicitWidth, 430)
                        text: root.capture.stage === "result" ? root.capture.note : root.capture.hint
                        textFormat: Text.PlainText
                        wrapMode: Text.Wrap
                        maximumLineCount: 3
                        elide: Text.ElideRight
                        font.family: root.theme.text
                        font.pixelSize: root.capture.stage === "result" || root.hasText ? 13 : 14
                        color: root.theme.quiet
                    }

                    Rectangle {
                        visible: root.capture.progress >= 0
                        width: Math.max(hint.width, 120)
                        height: 4
                        radius: 2
                        color: root.theme.sunken

                        Rectangle {
                            width: Math.max(parent.height, parent.width * Math.max(0, root.capture.progress))
                            height: parent.height
                            radius: 2
                            color: root.theme.accent
                        }
                    }
                }
            }
        }
    }
}
