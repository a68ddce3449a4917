import QtQuick
import QtTest
import Ravant.Controls

Item {
    PopupWindow {
        id: window

        width: 600
        height: 500
        visible: true

        PushButton { id: opener; text: "Open" }
        ListModel {
            id: models

            ListElement { name: "large"; detail: ""; section: ""; isChosen: false }
            ListElement { name: "middle"; detail: ""; section: ""; isChosen: true }
            ListElement { name: "small"; detail: ""; section: ""; isChosen: false }
        }
        Component {
            id: menu

            MenuPopup {
                id: offered

                property string answer

                MenuEntry { text: "Rename"; onTriggered: offered.answer = text }
                MenuEntry { text: "Archive"; enabled: false }
                MenuEntry { text: "Delete"; onTriggered: offered.answer = text }
            }
        }
        Component {
            id: folders

            PathChooser { parent: opener.parent; title: "Folder"; wanted: FolderEntries.Folders }
        }
        Component {
            id: choice

            ChoicePopup {
                property string answer

                parent: opener
                y: 40
                name: "Model"
                model: models
                initialRow: 1
                onChosen: row => answer = models.get(row).name
            }
        }
        Component {
            id: question

            Question {
                id: asked

                property string answer

                parent: opener.parent
                words: "Delete it?"
                PushButton { text: "Delete"; onClicked: { asked.answer = text; asked.close() } }
                PushButton { text: "Keep"; onClicked: { asked.answer = text; asked.close() } }
            }
        }
        Component {
            id: panel

            TitledPanel {
                id: opened

                property string answer

                title: "Go to"
                onAboutToShow: field.clear()
                contentItem: TextLine { id: field; name: "Go to"; focus: true; onAccepted: { opened.answer = text; opened.close() } }
            }
        }

        TestCase {
            name: "Popups"
            when: windowShown

            function init() {
                failOnWarning(/.?/)
                window.requestActivate()
                tryVerify(() => window.active)
                opener.forceActiveFocus()
            }

            function test_keys_choose_and_the_keyboard_goes_back_data() {
                return [
                    { tag: "menu", component: menu, keys: [Qt.Key_Down, Qt.Key_Return], answer: "Rename" },
                    { tag: "menu, past what is disabled", component: menu, keys: [Qt.Key_Down, Qt.Key_Down, Qt.Key_Return], answer: "Delete" },
                    { tag: "menu, left", component: menu, keys: [Qt.Key_Down, Qt.Key_Escape], answer: "" },
                    { tag: "choice", component: choice, keys: [Qt.Key_Return], answer: "middle" },
                    { tag: "choice, other", component: choice, keys: [Qt.Key_Down, Qt.Key_Return], answer: "small" },
                    { tag: "choice, left", component: choice, keys: [Qt.Key_Up, Qt.Key_Escape], answer: "" },
                    { tag: "question", component: question, keys: [Qt.Key_Return], answer: "Delete" },
                    { tag: "question, other", component: question, keys: [Qt.Key_Tab, Qt.Key_Space], answer: "Keep" },
                    { tag: "question, left", component: question, keys: [Qt.Key_Escape], answer: "" },
                    { tag: "panel", component: panel, keys: ["x", Qt.Key_Return], answer: "x" },
                    { tag: "panel, left", component: panel, keys: ["x", Qt.Key_Escape], answer: "" }]
            }
            function test_keys_choose_and_the_keyboard_goes_back(data) {
                const popup = createTemporaryObject(data.component, data.component === menu ? opener : window.contentItem)
                for (let times = 0; times < 2; ++times) {
                    popup.answer = ""
                    popup.open()
                    tryVerify(() => popup.opened)
                    verify(!opener.activeFocus)
                    for (const key of data.keys) keyClick(key)
                    tryVerify(() => !popup.visible)
                    compare(popup.answer, data.answer)
                    tryVerify(() => opener.activeFocus)
                }
            }

            function test_letters_typed_while_a_chooser_fades_in_arrive() {
                const chooser = createTemporaryObject(folders, window.contentItem)
                chooser.open()
                verify(!chooser.opened)
                for (const letter of ["x", "y"]) keyClick(letter)
                verify(window.activeFocusItem.text.endsWith("xy"), window.activeFocusItem.text)
                chooser.close()
                tryVerify(() => opener.activeFocus)
            }

            function test_a_question_stays_where_it_is_until_it_is_answered() {
                const popup = createTemporaryObject(question, window.contentItem)
                popup.open()
                tryVerify(() => popup.opened)
                mouseClick(window.contentItem, 2, 2)
                verify(popup.opened)
                verify(popup.width <= window.width && popup.height <= window.height)
            }
        }
    }
}
