import QtQuick
import QtTest
import Ravant.Controls
import Ravant.Theme

Item {
    id: root

    width: 400
    height: 300

    TestCase {
        name: "Buttons"
        when: windowShown

        function init() { failOnWarning(/.?/) }

        Component {
            id: pushButton

            PushButton { text: "Send" }
        }
        Component {
            id: iconButton

            IconButton { iconName: "search"; name: "Find" }
        }
        SignalSpy { id: spy; signalName: "clicked" }

        function test_is_pressed_by_keys_data() {
            return [{ tag: "words", component: pushButton, name: "Send" }, { tag: "icon", component: iconButton, name: "Find" }]
        }
        function test_is_pressed_by_keys(data) {
            const button = createTemporaryObject(data.component, root)
            spy.target = button
            spy.clear()
            button.forceActiveFocus()
            for (const key of [Qt.Key_Return, Qt.Key_Enter, Qt.Key_Space]) keyClick(key)
            compare(spy.count, 3)
            mouseClick(button)
            compare(spy.count, 4)
            button.enabled = false
            mouseClick(button)
            compare(spy.count, 4)
            compare(button.Accessible.name, data.name)
        }

        function test_grows_with_its_words_and_the_zoom() {
            const button = createTemporaryObject(pushButton, root, { text: "Keep running in the background" })
            const before = button.implicitWidth
            verify(before > 150)
            Theme.zoom = 200
            tryVerify(() => button.implicitWidth > 1.7 * before)
            verify(button.implicitHeight === 56)
            Theme.zoom = 100
        }
    }
}
