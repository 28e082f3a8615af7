// SPDX-License-Identifier: MIT

// The window. Its colours are the system's, dark or light.

import QtQuick
import Applist 1.0
import Launcher 1.0

Window {
    id: window
    width: 640
    height: 480
    visible: true
    title: qsTr("Applications")
    color: colours.window

    SystemPalette { id: colours }

    AppListModel {
        id: applications
        onWriteFailed: (message) => { complaint.text = message; complaintTime.restart() }
        onSelectedRowChanged: if (!ownMove.running) grid.follow()
    }

    Search {
        id: found
        sourceModel: applications
        filterCaseSensitivity: Qt.CaseInsensitive
    }

    Rectangle {
        id: searchField
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 12 }
        height: 40
        radius: 8
        color: colours.base
        border.color: colours.mid

        Text {
            anchors { fill: parent; leftMargin: 12 }
            verticalAlignment: Text.AlignVCenter
            text: qsTr("Type to search")
            color: colours.text
            opacity: 0.5
            visible: search.text === ""
        }
        TextInput {
            id: search
            objectName: "search"
            anchors { fill: parent; leftMargin: 12; rightMargin: 12 }
            verticalAlignment: TextInput.AlignVCenter
            clip: true
            focus: true
            color: colours.text
            selectionColor: colours.highlight
            onTextChanged: { found.setFilterFixedString(text); grid.follow() }
            Keys.onEscapePressed: clear()
            Keys.onLeftPressed: grid.move(-1)
            Keys.onRightPressed: grid.move(1)
            Keys.onUpPressed: grid.move(-grid.columns)
            Keys.onDownPressed: grid.move(grid.columns)
        }
    }

    GridView {
        id: grid
        objectName: "grid"
        readonly property int columns: Math.max(1, Math.floor(width / 124))
        anchors { left: parent.left; right: parent.right; margins: 12 }
        anchors { top: searchField.bottom; bottom: parent.bottom }
        clip: true
        cellWidth: width / columns
        cellHeight: 132
        model: found
        reuseItems: true
        keyNavigationEnabled: false  // the search has the keys
        currentIndex: -1
        highlightMoveDuration: 0  // what others select is seen at once

        // The service's answer to a move of our own is on its way when the next one comes: to
        // follow it then would go a step back.
        Timer { id: ownMove; interval: 300; onTriggered: grid.follow() }

        function follow() {
            currentIndex = found.mapFromSource(applications.index(applications.selectedRow, 0)).row
        }
        function move(step) {
            if (count > 0) choose(Math.max(0, Math.min(count - 1, currentIndex + step)))
        }
        function choose(row) {
            ownMove.restart()
            currentIndex = row
            found.setData(found.index(row, 0), true, AppListModel.SelectedRole)
        }

        delegate: Item {
            id: tile
            required property int index
            required property string name
            required property bool selected
            required property var model
            // A name may be empty, take megabytes, and hold line ends or marks that turn it around.
            readonly property string label: (name || model.id).slice(0, 200).replace(/\s+/g, " ")
                                            .replace(/[\u202a-\u202e\u2066-\u2069]/g, "")
            objectName: "tile " + label
            width: grid.cellWidth
            height: grid.cellHeight

            Rectangle {
                anchors { fill: parent; margins: 4 }
                radius: 12
                color: tile.selected ? colours.highlight : "transparent"
                border { color: colours.highlight; width: tile.GridView.isCurrentItem ? 2 : 0 }
            }
            Rectangle {
                anchors.horizontalCenter: parent.horizontalCenter
                y: 14
                width: 56
                height: 56
                radius: 14
                color: Qt.hsla((tile.label.length * 0.13 + tile.label.charCodeAt(0) * 0.037) % 1,
                               0.45, 0.5, 1)

                Text {
                    anchors.centerIn: parent
                    textFormat: Text.PlainText
                    text: String.fromCodePoint(tile.label.codePointAt(0) || 0x3f).toUpperCase()
                    font { pixelSize: 28; bold: true }
                    color: "white"
                }
            }
            Text {
                anchors { fill: parent; margins: 10; topMargin: 76 }
                textFormat: Text.PlainText  // a name may look like HTML
                text: tile.label
                color: tile.selected ? colours.highlightedText : colours.windowText
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.Wrap
                elide: Text.ElideRight
                maximumLineCount: 2
            }
            TapHandler { onTapped: grid.choose(tile.index) }
        }
    }

    Text {
        objectName: "state"
        anchors { fill: grid; margins: 24 }
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.Wrap
        textFormat: Text.PlainText
        color: colours.windowText
        font.pixelSize: 18
        text: applications.error !== "" ? applications.error
            : !applications.serviceThere ? qsTr("There is no list at the moment")
            : applications.loading ? qsTr("Loading")
            : grid.count > 0 ? ""
            : search.text !== "" ? qsTr("Nothing is called that") : qsTr("The list is empty")
    }

    Rectangle {
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom; margins: 12 }
        height: complaint.height + 24
        radius: 8
        color: colours.windowText
        visible: complaintTime.running

        Text {
            id: complaint
            objectName: "complaint"
            anchors { left: parent.left; right: parent.right; top: parent.top; margins: 12 }
            wrapMode: Text.Wrap
            textFormat: Text.PlainText
            color: colours.window
        }
        Timer { id: complaintTime; interval: 5000 }
    }
}
