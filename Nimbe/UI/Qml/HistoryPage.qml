import QtQuick
import QtQuick.Templates as T
import Nimbe

// The dictations under the headings of their days.
FocusScope {
    id: page

    required property QtObject model
    required property QtObject history
    signal edit(string id)

    function find() { search.forceActiveFocus() }
    function takeKeyboard() { (list.currentIndex < 0 ? page : list).forceActiveFocus() }

    Rectangle {
        id: searchBox
        visible: page.history.hasEntries
        anchors.left: parent.left
        anchors.right: parent.right
        height: visible ? 42 : 0
        radius: 12
        color: theme.sunken
        border.width: search.activeFocus ? 2 : 0
        border.color: theme.accent

        Symbol {
            x: 13
            anchors.verticalCenter: parent.verticalCenter
            width: 18
            height: 18
            name: "magnifyingglass"
            color: theme.quiet
        }
        TextInput {
            id: search
            anchors.left: parent.left
            anchors.right: clear.left
            anchors.leftMargin: 42
            anchors.verticalCenter: parent.verticalCenter
            clip: true
            font.family: theme.text
            font.pixelSize: 15
            color: theme.ink
            selectionColor: theme.accent
            selectedTextColor: theme.onAccent
            selectByMouse: true
            activeFocusOnTab: true
            onTextChanged: page.history.query = text
            Keys.onDownPressed: list.forceActiveFocus()
            Keys.onEscapePressed: (event) => {
                event.accepted = text.length > 0
                text = ""
            }
            Accessible.role: Accessible.EditableText
            Accessible.name: "Search dictations"

            Text {
                visible: search.text.length === 0 && search.preeditText.length === 0
                text: "Search"
                font: search.font
                color: theme.quiet
            }
        }
        IconButton {
            id: clear
            anchors.right: parent.right
            anchors.rightMargin: 4
            anchors.verticalCenter: parent.verticalCenter
            visible: search.text.length > 0
            symbol: "xmark"
            size: 16
            text: "Clear search"
            onClicked: {
                search.text = ""
                search.forceActiveFocus()
            }
        }
    }

    ListView {
        id: list
        anchors.top: searchBox.bottom
        anchors.topMargin: searchBox.visible ? 8 : 0
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        clip: true
        model: page.history
        spacing: 8
        focus: true
        activeFocusOnTab: true
        currentIndex: -1
        boundsBehavior: Flickable.StopAtBounds
        bottomMargin: 24
        keyNavigationEnabled: true
        highlightMoveDuration: 0 // what is current is in sight, however fast the keys come
        Accessible.role: Accessible.List
        Accessible.name: "Dictations"

        onActiveFocusChanged: if (activeFocus && currentIndex < 0 && count > 0) currentIndex = 0
        Keys.onReturnPressed: if (currentItem) page.edit(currentItem.entryID)
        Keys.onEnterPressed: if (currentItem) page.edit(currentItem.entryID)
        Keys.onSpacePressed: if (currentItem) currentItem.toggle()
        Keys.onDeletePressed: page.history.remove(currentIndex)
        Keys.onPressed: (event) => {
            event.accepted = true
            if (event.matches(StandardKey.Copy))
                page.history.copy(currentIndex)
            else if (event.key === Qt.Key_PageDown)
                turnPage(1)
            else if (event.key === Qt.Key_PageUp)
                turnPage(-1)
            else if (event.key === Qt.Key_Home)
                currentIndex = Math.min(0, count - 1)
            else if (event.key === Qt.Key_End)
                currentIndex = count - 1
            else
                event.accepted = false
        }

        // By as many entries as are in sight; between two of them, or on a heading, there is none.
        function turnPage(direction) {
            const find = (y, towards) => {
                for (let by = 0; by < height; by += 20) {
                    const at = indexAt(width / 2, y + towards * by)
                    if (at >= 0) return at
                }
                return currentIndex
            }
            const step = Math.max(1, find(contentY + height - 1, -1) - find(contentY, 1))
            currentIndex = Math.max(0, Math.min(currentIndex + direction * step, count - 1))
        }

        section.property: "day"
        section.delegate: Text {
            required property string section
            width: ListView.view.width
            topPadding: 18
            bottomPadding: 7
            leftPadding: 4
            text: section
            font.family: theme.display
            font.italic: true
            font.pixelSize: 17
            color: theme.quiet
            Accessible.role: Accessible.Heading
            Accessible.name: section
        }

        delegate: Rectangle {
            id: entry

            required property int index
            required property string text
            required property string time
            required property bool expanded
            required property string entryID

            readonly property bool current: ListView.isCurrentItem && list.activeFocus
            readonly property bool lit: hover.hovered || current
            readonly property bool hasMore: body.truncated || expanded

            width: ListView.view.width
            height: body.height + foot.height + 20
            radius: 14
            color: theme.surface
            border.width: current ? 2 : 1
            border.color: current ? theme.accent : theme.hairline
            Accessible.role: Accessible.ListItem
            Accessible.name: text
            Accessible.description: time

            function toggle() { if (hasMore) page.history.toggleExpanded(index) }

            HoverHandler { id: hover }
            TapHandler {
                onTapped: {
                    list.currentIndex = entry.index
                    list.forceActiveFocus()
                    entry.toggle()
                }
                onDoubleTapped: page.edit(entry.entryID)
            }

            Text {
                id: body
                x: 18
                y: 14
                width: parent.width - 36
                text: entry.text
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
                maximumLineCount: entry.expanded ? 100000 : 3
                elide: Text.ElideRight
                font.family: theme.display
                font.pixelSize: 17
                lineHeight: 1.18
                color: theme.ink
            }
            Item {
                id: foot
                anchors.left: body.left
                anchors.right: body.right
                anchors.rightMargin: -10
                anchors.bottom: parent.bottom
                anchors.bottomMargin: 4
                height: 32

                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    text: entry.time
                    font.family: theme.text
                    font.pixelSize: 12
                    color: theme.quiet
                }
                Row {
                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter

                    IconButton {
                        opacity: entry.lit ? 1 : 0
                        height: 32
                        symbol: "pencil"
                        size: 17
                        text: "Edit"
                        focusPolicy: Qt.NoFocus
                        onClicked: {
                            list.currentIndex = entry.index
                            page.edit(entry.entryID)
                        }
                    }
                    IconButton {
                        opacity: entry.lit ? 1 : 0
                        height: 32
                        symbol: "doc.on.doc"
                        size: 17
                        text: "Copy"
                        focusPolicy: Qt.NoFocus
                        onClicked: page.history.copy(entry.index)
                    }
                    IconButton {
                        opacity: entry.lit ? 1 : 0
                        height: 32
                        symbol: "trash"
                        size: 17
                        text: "Delete"
                        focusPolicy: Qt.NoFocus
                        onClicked: page.history.remove(entry.index)
                    }
                    IconButton {
                        visible: entry.hasMore
                        height: 32
                        symbol: "chevron.down"
                        size: 17
                        rotation: entry.expanded ? 180 : 0
                        text: entry.expanded ? "Show less" : "Show all"
                        focusPolicy: Qt.NoFocus
                        onClicked: entry.toggle()
                    }
                }
            }
        }

        T.ScrollBar.vertical: T.ScrollBar {
            id: bar
            implicitWidth: 8
            minimumSize: 0.08
            contentItem: Rectangle {
                implicitWidth: 5
                radius: 3
                color: theme.faint
                visible: bar.size < 1 && (bar.active || bar.hovered)
            }
        }
    }

    Column {
        visible: list.count === 0
        anchors.centerIn: parent
        anchors.verticalCenterOffset: -20
        width: Math.min(parent.width - 40, 360)
        spacing: 10

        Symbol {
            anchors.horizontalCenter: parent.horizontalCenter
            width: 44
            height: 44
            name: page.history.hasEntries ? "magnifyingglass" : "waveform"
            color: theme.faint
        }
        Text {
            width: parent.width
            topPadding: 6
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: page.history.emptyTitle
            font.family: theme.display
            font.pixelSize: 24
            color: theme.ink
        }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            text: page.history.emptyText
            textFormat: Text.PlainText
            font.family: theme.text
            font.pixelSize: 15
            lineHeight: 1.25
            color: theme.quiet
        }
    }

    Rectangle {
        visible: page.history.notice.length > 0
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 18
        width: said.width + 36
        height: 44
        radius: 22
        color: theme.ink
        Accessible.role: Accessible.AlertMessage
        Accessible.name: page.history.notice

        Row {
            id: said
            anchors.centerIn: parent
            spacing: 14

            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: page.history.notice
                font.family: theme.text
                font.pixelSize: 14
                color: theme.background
            }
            T.Button {
                id: undo
                visible: page.history.canUndo
                anchors.verticalCenter: parent.verticalCenter
                implicitWidth: undoText.implicitWidth + 8
                implicitHeight: 30
                text: "Undo"
                Accessible.name: text
                onClicked: page.history.undo()
                contentItem: Text {
                    id: undoText
                    text: undo.text
                    verticalAlignment: Text.AlignVCenter
                    font.family: theme.text
                    font.pixelSize: 14
                    font.weight: Font.Bold
                    font.underline: undo.visualFocus
                    color: theme.dark ? Qt.darker(theme.accent, 1.7) : Qt.lighter(theme.accent, 1.9)
                }
            }
        }
    }
}
