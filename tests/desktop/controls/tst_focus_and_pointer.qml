import QtQuick
import QtTest
import Ravant.Controls

Item {
    id: root

    width: 400
    height: 300

    TestCase {
        name: "FocusAndPointer"
        when: windowShown

        function init() { failOnWarning(/.?/) }

        Component {
            id: iconButton

            IconButton { iconName: "search"; name: "Find" }
        }
        Component {
            id: floatingList

            ListView {
                id: view

                property alias choice: choice

                width: 200
                height: 150
                model: 10
                PointerChoice { id: choice; list: view }
                delegate: ListRow { width: 200; height: 30; name: "row"; floats: true }
            }
        }
        SignalSpy { id: spy; signalName: "pointed" }

        function test_the_ring_is_for_keys() {
            const button = createTemporaryObject(iconButton, root)
            const ring = button.background.children[0]
            keyClick(Qt.Key_Tab)
            button.forceActiveFocus()
            verify(ring.visible)
            mouseClick(button)
            verify(button.activeFocus)
            verify(!ring.visible)
            keyClick(Qt.Key_Control)
            verify(!ring.visible)
            keyClick(Qt.Key_Down)
            verify(ring.visible)
        }

        function test_only_a_moved_pointer_chooses() {
            mouseMove(root, 20, 40)
            const view = createTemporaryObject(floatingList, root)
            waitForRendering(view)
            spy.target = view.choice
            spy.clear()
            mouseMove(root, 20, 40)
            compare(spy.count, 0)
            view.contentY = 60
            mouseMove(root, 20, 40)
            compare(spy.count, 0)
            mouseMove(root, 21, 70)
            mouseMove(root, 22, 71)
            verify(spy.count > 0)
            compare(spy.signalArguments[spy.count - 1][0], 4)
        }
    }
}
