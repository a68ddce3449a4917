import QtQuick
import Ravant.Conversation
import Ravant.Program

/// A conversation: its head and its transcript.
FocusScope {
    id: page

    readonly property string conversation: visible ? Workbench.conversation : ""
    /// Of the transcript, from below.
    property alias covered: transcript.covered

    function toEnd() { transcript.toEnd() }
    function returnTo(before: Item) { (before?.visible ? before : transcript).forceActiveFocus() }
    /// Closes or clears what is topmost; false where there is nothing of the kind.
    function takeEscape(): bool {
        if (find.visible) find.close()
        else if (window.markedText !== "") words.end()
        else return transcript.clearSelection()
        return true
    }

    TranscriptWindow {
        id: window

        conversation: page.conversation
        isLookedAt: page.visible && Workbench.active && transcript.isAtEnd
        onAnotherTryRequested: failure => headModel.tryAgain(failure)
        onGoingOnRequested: headModel.goOn()
    }
    ConversationHead { id: headModel; conversation: page.conversation }
    TranscriptFind { id: words; rows: window }
    LinkOpener { id: links; conversation: page.conversation }

    HeadBar {
        id: head

        anchors { top: parent.top; left: parent.left; right: parent.right }
        head: headModel
        onFindRequested: find.open()
        onRenamed: from => page.returnTo(from)
    }
    FindBar {
        id: find

        anchors { top: head.bottom; left: parent.left; right: parent.right }
        search: words
        onDone: from => page.returnTo(from)
    }
    Transcript {
        id: transcript

        anchors { top: find.visible ? find.bottom : head.bottom; left: parent.left; right: parent.right; bottom: parent.bottom }
        focus: true
        clip: true
        rows: window
        findPlaces: words.places
        onFollow: link => links.open(link)
        onHover: link => transcript.hoveredLink = window.linkTarget(link)
    }
    Binding { target: Workbench; property: "endVisible"; value: transcript.isAtEnd }
    CommandHandler { command: "find"; enabled: page.visible; onTriggered: find.open() }
    CommandHandler { command: "findNext"; enabled: page.visible && words.text !== ""; onTriggered: words.next() }
    CommandHandler { command: "findPrevious"; enabled: page.visible && words.text !== ""; onTriggered: words.previous() }
    CommandHandler { command: "rename"; enabled: page.visible; onTriggered: head.rename() }
    CommandHandler { command: "goOn"; enabled: page.visible && window.leadsOn; onTriggered: window.leadOn() }
    CommandHandler { command: "archive"; enabled: page.visible; onTriggered: headModel.archive() }
}
