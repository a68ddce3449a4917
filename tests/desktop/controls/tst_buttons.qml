import QtQuick
import QtTest
import Ravant.Controls
import Ravant.Theme

Item {
    id: root

    width: 400
    height: 300

    Item { id: elsewhere; focus: true }

    TestCase {
        name: "Buttons"
        when: windowShown

        function init() { failOnWarning(/.?/) }

        Component { id: push; PushButton { text: "Send" } }
        Component { id: icon; IconButton { iconName: "search"; name: "Find" } }
        Component { id: field; FieldButton { width: 200; iconName: "search"; text: "Go to or run" } }
        Component { id: picker; PickerButton { subject: "Model"; choice: "demo" } }
        Component { id: wide; RowButton { width: 200; iconName: "plus"; text: "New conversation" } }
        Component { id: meter; MeterButton { subject: "Context"; words: "82k of 200k"; figures: "Context: 82k of 200k tokens\nLast output: 800"; share: 0.41; isNearlyFull: false } }
        SignalSpy { id: spy; signalName: "clicked" }

        function part(item, fits) {
            if (fits(item)) return item
            for (let index = 0; index < item.children.length; ++index) {
                const found = part(item.children[index], fits)
                if (found) return found
            }
            return null
        }
        function ring(item) { return part(item, found => found instanceof FocusRing) }

        function test_is_pressed_in_every_way_unless_it_is_disabled_data() {
            return [
                { tag: "words", component: push, name: "Send" },
                { tag: "icon", component: icon, name: "Find" },
                { tag: "field", component: field, name: "Go to or run" },
                { tag: "picker", component: picker, name: "Model, demo" },
                { tag: "row", component: wide, name: "New conversation" },
                { tag: "meter", component: meter, name: "Context, 82k of 200k tokens" }]
        }
        function test_is_pressed_in_every_way_unless_it_is_disabled(data) {
            const button = createTemporaryObject(data.component, root)
            const pressed = [() => keyClick(Qt.Key_Return), () => keyClick(Qt.Key_Enter), () => keyClick(Qt.Key_Space), () => mouseClick(button)]
            compare(button.Accessible.name, data.name)
            verify(!ring(button).visible)
            for (const press of [...pressed, () => button.Accessible.pressAction()]) {
                spy.target = button
                spy.clear()
                button.forceActiveFocus(Qt.TabFocusReason)
                keyClick(Qt.Key_F1)
                verify(ring(button).visible)
                press()
                compare(spy.count, 1, press)
            }
            button.enabled = false
            for (const press of pressed) press()
            compare(spy.count, 1)
            elsewhere.forceActiveFocus()
            verify(!ring(button).visible)
        }

        function test_is_reached_by_tab_unless_it_is_disabled() {
            const one = createTemporaryObject(push, root)
            createTemporaryObject(push, root, { enabled: false })
            const other = createTemporaryObject(icon, root)
            one.forceActiveFocus()
            keyClick(Qt.Key_Tab)
            verify(other.activeFocus)
            keyClick(Qt.Key_Backtab)
            verify(one.activeFocus)
        }

        function test_grows_with_its_words_and_the_zoom() {
            const button = createTemporaryObject(push, root, { text: "Keep running in the background" })
            const before = button.implicitWidth
            verify(before > 150)
            Theme.zoom = 200
            tryVerify(() => button.implicitWidth > 1.7 * before)
            verify(button.implicitHeight === 56)
            Theme.zoom = 100
        }

        Component {
            id: empty

            EmptyState { width: 380; height: 280; words: "No conversation"; explanation: "Start one."; offer: "Start" }
        }
        SignalSpy { id: offered; signalName: "accepted" }

        function test_what_is_empty_offers_a_way_on() {
            const state = createTemporaryObject(empty, root)
            offered.target = state
            offered.clear()
            const button = part(state, item => item instanceof PushButton)
            button.forceActiveFocus()
            keyClick(Qt.Key_Space)
            compare(offered.count, 1)
            state.offer = ""
            verify(!button.visible)
        }
    }
}
