import QtQuick
import QtTest
import Ravant.Controls

Item {
    id: root

    width: 400
    height: 300

    TestCase {
        name: "Fields"
        when: windowShown

        function init() { failOnWarning(/.?/) }

        SignalSpy { id: spy }

        function watch(target: Item, signal: string) {
            spy.target = null
            spy.signalName = signal
            spy.target = target
            spy.clear()
        }

        Component { id: line; TextLine { width: 200; name: "Find"; placeholderText: "Find" } }
        Component { id: prompt; PromptField { width: 200; height: implicitHeight; maximumHeight: 100; name: "Prompt"; placeholder: "Ask" } }
        Component { id: button; PushButton { text: "Send" } }

        function test_a_line_is_written_and_entered() {
            const field = createTemporaryObject(line, root)
            compare(field.Accessible.name, "Find")
            const before = field.background.border.width
            field.forceActiveFocus()
            verify(field.background.border.width > before)
            watch(field, "accepted")
            for (const key of "abc") keyClick(key)
            compare(field.text, "abc")
            keyClick(Qt.Key_Return)
            compare(spy.count, 1)
            field.enabled = false
            keyClick("d")
            compare(field.text, "abc")
        }

        function test_a_prompt_undoes_nothing_of_another_one_data() { return [{ tag: "typed", rest: "abc" }, { tag: "deleted", rest: "" }] }
        function test_a_prompt_undoes_nothing_of_another_one(data) {
            const field = createTemporaryObject(prompt, root)
            field.forceActiveFocus()
            for (const key of "abc") keyClick(key)
            if (data.rest === "") for (let press = 0; press < 3; ++press) keyClick(Qt.Key_Backspace)
            compare(field.text, data.rest)
            field.replace("")
            keyClick(Qt.Key_Z, Qt.ControlModifier)
            compare(field.text, "")
        }
        function test_a_prompt_grows_to_its_height_and_is_left_by_tab() {
            const field = createTemporaryObject(prompt, root)
            const next = createTemporaryObject(button, root)
            const one = field.implicitHeight
            verify(one > 0)
            field.forceActiveFocus()
            watch(field, "keyPressed")
            for (const key of ["a", Qt.Key_Return, "b"]) keyClick(key)
            compare(field.text, "a\nb")
            compare(spy.count, 3)
            verify(field.implicitHeight > one)
            field.replace("x\n".repeat(100))
            compare(field.implicitHeight, field.maximumHeight)
            keyClick("y")
            compare(field.text.length, 201)
            keyClick(Qt.Key_Tab)
            verify(next.activeFocus)
            compare(field.text.length, 201)
            keyClick(Qt.Key_Backtab)
            verify(field.activeFocus)
        }

        Component { id: handle; ResizeHandle { height: 200; name: "Width"; value: 260; onMoved: wanted => value = wanted } }

        function test_an_edge_is_moved_by_arrows_and_by_a_reader() {
            const edge = createTemporaryObject(handle, root)
            edge.forceActiveFocus()
            compare(edge.Accessible.role, Accessible.Slider)
            keyClick(Qt.Key_Right)
            compare(edge.value, 268)
            keyClick(Qt.Key_Left)
            keyClick(Qt.Key_Left)
            compare(edge.value, 252)
            edge.Accessible.increaseAction()
            compare(edge.value, 260)
            edge.Accessible.decreaseAction()
            compare(edge.value, 252)
        }

        Component {
            id: list

            ListView {
                id: view

                width: 200
                height: 200
                model: 3
                delegate: ListRow {
                    required property int index

                    width: 200
                    name: "Row %1".arg(index)
                    current: ListView.isCurrentItem
                    onClicked: selected = true
                }
            }
        }

        function test_a_row_tells_whether_it_is_the_current_one() {
            const rows = createTemporaryObject(list, root)
            rows.currentIndex = 1
            const row = rows.itemAtIndex(1)
            compare(row.Accessible.name, "Row 1")
            compare(row.Accessible.role, Accessible.ListItem)
            verify(!row.Accessible.focused)
            rows.forceActiveFocus()
            verify(row.Accessible.focused)
            verify(!rows.itemAtIndex(0).Accessible.focused)
            keyClick(Qt.Key_Down)
            verify(rows.itemAtIndex(2).Accessible.focused)
            row.Accessible.pressAction()
            verify(row.Accessible.selected)
            watch(row, "menuRequested")
            mouseClick(row, 10, 10, Qt.RightButton)
            compare(spy.count, 1)
        }
    }
}
