import QtQuick
import QtTest
import Ravant.Conversation
import Ravant.Theme

Item {
    id: root

    readonly property string sentence: "The reader takes pages of sixty items, and a page around any item of the conversation. "

    width: 2000
    height: 1200

    TranscriptWindow { id: window }
    ProseStyle { id: sheet }
    SignalSpy { id: spy }
    Component { id: rowOfTranscript; TranscriptRow { rows: window; style: sheet; height: implicitHeight } }

    TestCase {
        name: "Rows"
        when: windowShown

        readonly property var blank: ({ index: 0, keyboardRow: -1, item: "", isFirst: true, isLast: true, opensBlock: true,
            closesBlock: true, isOpen: false, isGrowing: false, canAct: false, outcome: TranscriptWindow.NoOutcome, level: 0,
            more: "", links: [], place: 0, html: "", words: "", label: "", detail: "", iconName: "", isSelected: false, paint: null })
        readonly property var kinds: [
            { name: "user", kind: TranscriptWindow.UserMessage, html: root.sentence.repeat(4), more: "Show 12 more lines" },
            { name: "prose", kind: TranscriptWindow.Prose, html: root.sentence.repeat(4) },
            { name: "code in a list", kind: TranscriptWindow.Prose,
                html: "<ul><li>a<pre>" + root.sentence.replace(/ /g, "-").repeat(8) + "</pre></li></ul>" },
            { name: "growing", kind: TranscriptWindow.Prose, html: root.sentence, isGrowing: true },
            { name: "heading", kind: TranscriptWindow.Heading, level: 2, html: root.sentence },
            { name: "quotation", kind: TranscriptWindow.Quotation, html: root.sentence.repeat(4) },
            { name: "table", kind: TranscriptWindow.Table, html: "<table><tr><td>a</td><td>" + root.sentence + "</td></tr></table>" },
            { name: "code", kind: TranscriptWindow.Code, label: "cpp", words: root.sentence + "\n" + root.sentence, more: "Show 1 more line" },
            { name: "code without a language", kind: TranscriptWindow.Code, words: root.sentence },
            { name: "growing code", kind: TranscriptWindow.Code, label: "cpp", words: root.sentence, isGrowing: true },
            { name: "growing table", kind: TranscriptWindow.Table, html: "<table><tr><td>a</td></tr></table>", isGrowing: true },
            { name: "rule", kind: TranscriptWindow.Rule },
            { name: "group", kind: TranscriptWindow.ToolGroup, label: "Ran 3 commands", words: "git log --oneline " + root.sentence,
                detail: "1.2 s", outcome: TranscriptWindow.Running, isOpen: false },
            { name: "call", kind: TranscriptWindow.ToolCall, label: "Ran", words: "git log --oneline " + root.sentence, iconName: "terminal",
                detail: "128 lines", outcome: TranscriptWindow.Failed },
            { name: "output", kind: TranscriptWindow.ToolText, label: "Output", words: root.sentence + "\n" + root.sentence },
            { name: "compaction", kind: TranscriptWindow.Compaction, words: "Context compacted: 120 k to 12 k tokens" },
            { name: "unread", kind: TranscriptWindow.Unread, words: "New" },
            { name: "failure", kind: TranscriptWindow.Failure, words: root.sentence.repeat(2), canAct: true },
            { name: "interrupted", kind: TranscriptWindow.Interrupted, words: root.sentence, canAct: true },
            { name: "reasoning", kind: TranscriptWindow.Reasoning, label: "Thought for 3 s", words: root.sentence.repeat(3), isOpen: true },
            { name: "progress", kind: TranscriptWindow.RunProgress, label: "Working", detail: "12 s", outcome: TranscriptWindow.Running }]

        function init() {
            failOnWarning(/.?/)
            Theme.zoom = 100
        }
        function cleanup() { Theme.zoom = 100 }

        function make(roles, width) {
            return createTemporaryObject(rowOfTranscript, root, Object.assign({}, blank, roles, { width: width }))
        }
        /// All that is drawn as text below an item: `inside` says whether something above it cuts it off, to be scrolled.
        function texts(item, inside) {
            let found = []
            for (let index = 0; index < item.children.length; ++index) {
                const child = item.children[index]
                if (!child.visible) continue
                if ((child instanceof Text || child instanceof TextEdit) && child.text !== "") found.push({ item: child, inside: inside })
                found = found.concat(texts(child, inside || child.clip))
            }
            return found
        }
        function place(text, row) {
            const width = text instanceof Text ? Math.min(text.contentWidth, text.width) : text.contentWidth
            return text.mapToItem(row, text.leftPadding, 0, width, Math.min(text.height, text.contentHeight))
        }
        /// Below the last line of prose, whose lines stand apart, is nothing to be seen.
        function leading(text) { return text instanceof TextEdit && text.textFormat === TextEdit.RichText ? text.font.pixelSize * 0.6 : 0 }
        function luminance(colour) {
            const part = value => value <= 0.03928 ? value / 12.92 : Math.pow((value + 0.055) / 1.055, 2.4)
            return 0.2126 * part(colour.r) + 0.7152 * part(colour.g) + 0.0722 * part(colour.b)
        }
        function contrast(one, other) {
            const first = luminance(one) + 0.05
            const second = luminance(other) + 0.05
            return Math.max(first / second, second / first)
        }

        function test_shows_all_of_its_text_data() {
            const cases = []
            for (const roles of kinds) {
                for (const zoom of [100, 200]) {
                    for (const width of [zoom === 100 ? 440 : 700, 1400]) cases.push({ tag: "%1 at %2 % in %3".arg(roles.name).arg(zoom).arg(width), roles, zoom, width })
                }
            }
            return cases
        }
        function test_shows_all_of_its_text(data) {
            Theme.zoom = data.zoom
            const row = make(data.roles, data.width)
            waitForRendering(row)
            verify(row.height > 0)
            compare(row.Accessible.name, row.name)
            compare(row.Accessible.role, Accessible.ListItem)
            const shown = texts(row, false)
            verify(shown.length > 0 || data.roles.kind === TranscriptWindow.Rule)
            const places = []
            for (const { item, inside } of shown) {
                const where = place(item, row)
                verify(contrast(item.color, Theme.window) > 2.5, "colour of " + item.text)
                verify(where.y >= -0.5 && where.y + where.height - leading(item) <= row.height + 0.5, "%1 from %2 to %3 in %4".arg(item.text).arg(where.y).arg(where.y + where.height).arg(row.height))
                verify(item.contentHeight <= item.height + 0.5, item.text)
                if (inside) continue
                verify(where.x >= 0 && where.x + where.width <= row.width + 0.5, "%1 to %2 in %3".arg(item.text).arg(where.x + where.width).arg(row.width))
                if (item instanceof TextEdit) verify(item.contentWidth <= item.width + 0.5, item.text)
                for (const other of places) {
                    const apart = where.x >= other.x + other.width || other.x >= where.x + where.width || where.y >= other.y + other.height || other.y >= where.y + where.height
                    verify(apart || where.width === 0 || other.width === 0, "%1 is drawn over another text".arg(item.text))
                }
                places.push(where)
                // Only what names a subject may be shortened.
                if (item instanceof Text && item.text !== data.roles.words) verify(!item.truncated, "cut off: " + item.text)
            }
        }

        /// The first item below another one for which `fits` is true.
        function find(item, fits) {
            for (let index = 0; index < item.children.length; ++index) {
                const child = item.children[index]
                const found = fits(child) ? child : find(child, fits)
                if (found) return found
            }
            return null
        }
        function test_tells_headings_of_each_level_from_each_other() {
            const html = []
            for (let level = 1; level <= 4; ++level) html.push(sheet.page("Words", sheet.sheet, level))
            compare(new Set(html).size, 4)
            const prose = make({ name: "prose", kind: TranscriptWindow.Prose, html: "Words", isFirst: false }, 900)
            const heading = make({ name: "heading", kind: TranscriptWindow.Heading, html: "Words", level: 3, isFirst: false }, 900)
            verify(heading.space > prose.space, "more above it than below")
        }
        function test_sets_a_quotation_in_a_quotation_in() {
            const row = make({ name: "quotation", kind: TranscriptWindow.Quotation, html: "<p>Outer</p><blockquote><p>Inner</p></blockquote>" }, 900)
            const words = texts(row, false)[0].item
            compare(words.positionToRectangle(0).x, 0)
            verify(words.positionToRectangle(7).x >= 10)
        }
        function test_fades_where_a_line_goes_on_data() { return [{ tag: "code" }, { tag: "table" }, { tag: "output" }] }
        function test_fades_where_a_line_goes_on(data) {
            const row = make(kinds.find(roles => roles.name === data.tag), 440)
            waitForRendering(row)
            const view = find(row, item => item.goesOn !== undefined)
            const fades = () => find(view, item => item.gradient) !== null
            verify(fades())
            view.text.select(0, 4)
            verify(!fades(), "over what is selected")
            view.text.deselect()
            verify(fades())
            view.contentX = view.contentWidth - view.width
            verify(!fades(), "at the end")
            row.width = 1900
            view.contentX = 0
            verify(!fades(), "where there is room")
        }
        function test_offers_a_copy_only_beside_the_words() {
            const row = make(Object.assign({ item: "1" }, kinds.find(roles => roles.name === "prose")), 1400)
            mouseMove(row, 200, row.height - 10)
            tryVerify(() => find(row, item => item.iconName === "copy") !== null)
            row.width = 440
            tryVerify(() => find(row, item => item.iconName === "copy") === null)
        }
        function test_keeps_code_without_a_head_off_its_button() {
            const row = make(kinds.find(roles => roles.name === "code without a language"), 440)
            const named = make(kinds.find(roles => roles.name === "code"), 440)
            waitForRendering(row)
            const view = find(row, item => item.goesOn !== undefined)
            const copy = find(row, item => item.iconName === "copy")
            verify(view.mapToItem(row, view.width, 0).x <= copy.mapToItem(row, 0, 0).x)
            verify(copy.mapToItem(row, 0, copy.height).y <= row.height)
            verify(row.height < named.height)
        }
        function test_draws_code_in_prose_without_ligatures() {
            const row = make({ name: "code", kind: TranscriptWindow.Prose, html: "<code>a != b =&gt; c -&gt; --fresh</code>" }, 760)
            const text = texts(row, false)[0].item
            waitForRendering(row)
            const drawn = grabImage(row)
            text.font.preferShaping = false
            waitForRendering(row)
            verify(drawn.equals(grabImage(row)))
        }

        function test_does_what_is_pressed_data() {
            return [
                { tag: "group", signal: "toggled" },
                { tag: "call", signal: "toggled" },
                { tag: "failure", signal: "acted" },
                { tag: "interrupted", signal: "acted" }]
        }
        function test_does_what_is_pressed(data) {
            const row = make(kinds.find(roles => roles.name === data.tag), 760)
            spy.target = null
            spy.signalName = data.signal
            spy.target = row
            spy.clear()
            row.Accessible.pressAction()
            compare(spy.count, 1)
            const shown = texts(row, false)
            const pressed = shown[shown.length - 1].item
            mouseClick(pressed)
            compare(spy.count, 2)
        }
    }
}
