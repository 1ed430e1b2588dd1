"use strict";

// Shows the records that the file carries as JSON. Recovered text may have been written by anybody:
// it only ever becomes the text of a node. Nothing here works through all records at one go, so that
// the page answers while 100,000 of them are read, searched or sorted.
(() => {
    const FirstWindow = 200;
    const NextWindow = 500;
    const FirstMessages = 50;
    const OpenMatches = 5; // conversations that a filter opens by itself
    const RunLength = 512; // of what is sorted at one go
    const PrintLimit = 5000;
    const SliceMilliseconds = 10;
    const TypingMilliseconds = 150;

    const numbers = new Intl.NumberFormat("en");
    const collator = new Intl.Collator(undefined, { numeric: true, sensitivity: "base" });

    // ---- nodes -------------------------------------------------------------------------------

    function element(name, className, ...children) {
        const node = document.createElement(name);
        if (className) {
            node.className = className;
        }
        node.append(...children);
        return node;
    }

    /** Text in pieces, with the words of the filter marked. */
    function marked(text, words) {
        const folded = text.toLowerCase();
        if (words.length === 0 || folded.length !== text.length) {
            return [text];
        }
        const pieces = [];
        let end = 0;
        for (let at = nextMatch(folded, words, 0); at; at = nextMatch(folded, words, end)) {
            pieces.push(text.slice(end, at.begin), element("mark", "", text.slice(at.begin, at.end)));
            end = at.end;
        }
        pieces.push(text.slice(end));
        return pieces;
    }

    function nextMatch(folded, words, from) {
        let match = null;
        for (const word of words) {
            const begin = folded.indexOf(word, from);
            if (begin >= 0 && (match === null || begin < match.begin)) {
                match = { begin, end: begin + word.length };
            }
        }
        return match;
    }

    /** Text that was recovered, isolated from what stands around it. */
    function recovered(text, words) {
        return element("bdi", "", ...marked(text, words));
    }

    function plural(count, one, many) {
        return `${numbers.format(count)} ${count === 1 ? one : many}`;
    }

    function share(count, all) {
        return count === all ? numbers.format(all)
            : `${numbers.format(count)} of ${numbers.format(all)}`;
    }

    // ---- work in slices ----------------------------------------------------------------------

    /** Gives the browser its turn whenever a slice of time is used up. */
    class Slices {
        constructor(isCurrent) {
            this.isCurrent = isCurrent;
            this.begin = performance.now();
        }

        isUsedUp() {
            return performance.now() - this.begin > SliceMilliseconds;
        }

        /** Whether the work is still wanted after the turn. */
        async turn() {
            await new Promise((resolve) => {
                setTimeout(resolve, 0);
            });
            this.begin = performance.now();
            return this.isCurrent();
        }
    }

    /** The elements that pass, or null when the work is not wanted any more. */
    async function filtered(items, passes, slices) {
        const result = [];
        for (let i = 0; i < items.length; ++i) {
            if (passes(items[i])) {
                result.push(items[i]);
            }
            if (i % 64 === 63 && slices.isUsedUp() && !await slices.turn()) {
                return null;
            }
        }
        return result;
    }

    async function merged(a, b, compare, slices) {
        const result = [];
        let inA = 0;
        let inB = 0;
        while (inA < a.length || inB < b.length) {
            const takesA = inB === b.length || (inA < a.length && compare(a[inA], b[inB]) <= 0);
            result.push(takesA ? a[inA++] : b[inB++]);
            if (result.length % 64 === 63 && slices.isUsedUp() && !await slices.turn()) {
                return null;
            }
        }
        return result;
    }

    /** A stable sort; null when the work is not wanted any more. */
    async function sorted(items, compare, slices) {
        let runs = [];
        for (let i = 0; i < items.length; i += RunLength) {
            runs.push(items.slice(i, i + RunLength).sort(compare));
            if (slices.isUsedUp() && !await slices.turn()) {
                return null;
            }
        }
        while (runs.length > 1) {
            const longer = [];
            for (let i = 0; i < runs.length; i += 2) {
                const run = i + 1 < runs.length
                    ? await merged(runs[i], runs[i + 1], compare, slices) : runs[i];
                if (run === null) {
                    return null;
                }
                longer.push(run);
            }
            runs = longer;
        }
        return runs.length > 0 ? runs[0] : [];
    }

    // ---- lists that grow on demand -----------------------------------------------------------

    class WindowedList {
        constructor(container, noun, first, make) {
            this.container = container;
            this.noun = noun;
            this.first = first;
            this.make = make;
            this.items = [];
            this.end = 0;
            this.button = element("button", "more");
            this.button.type = "button";
            this.button.addEventListener("click", () => this.extend(NextWindow));
        }

        show(items, count) {
            this.items = items;
            this.end = 0;
            this.container.replaceChildren();
            this.extend(count === undefined ? this.first : count);
        }

        extend(count) {
            const end = Math.min(this.items.length, this.end + count);
            const rows = document.createDocumentFragment();
            for (; this.end < end; ++this.end) {
                rows.append(this.make(this.items[this.end], this.end));
            }
            this.container.append(rows);
            const left = this.items.length - end;
            this.button.hidden = left === 0;
            this.button.textContent = `Show ${numbers.format(Math.min(left, NextWindow))} more of `
                + `${numbers.format(left)} ${this.noun} not shown yet`;
        }
    }

    // ---- sections ----------------------------------------------------------------------------

    function folded(texts) {
        return texts.join("\n").normalize("NFC").toLowerCase();
    }

    function matches(text, words) {
        return words.every((word) => text.includes(word));
    }

    /** A section of the report: its records, those that match, and how they are shown. */
    class Section {
        constructor(root, sources) {
            this.root = root;
            this.sources = sources;
            this.showsSource = root.dataset.sources !== "1";
            this.body = root.querySelector(".records");
            this.counts = [root.querySelector(".count"),
                document.querySelector(`nav a[href="#${root.id}"] .count`)];
            this.items = [];
            this.matches = [];
            this.words = [];
            this.isShown = false;
        }

        sourceText(item) {
            return this.showsSource ? this.sources[item.source] : "";
        }

        /** A number that makes no time says what it is. */
        storedNumber(time, stored) {
            return element("span", "stored", time === "" ? "stored as " : "",
                ...marked(stored, this.words));
        }

        total() {
            return this.items.length;
        }

        matching() {
            return this.matches.length;
        }

        /** Brings what is shown into line with the filter; false when that is not wanted any more. */
        async update(words, slices) {
            if (this.isShown && this.words.join(" ") === words.join(" ")) {
                return true;
            }
            const found = await this.find(words, slices);
            if (found === null) {
                return false;
            }
            this.words = words;
            this.matches = found;
            this.isShown = true;
            this.list.show(found);
            this.showCounts();
            return true;
        }

        find(words, slices) {
            if (words.length === 0) {
                return this.items.slice();
            }
            return filtered(this.items, (item) => {
                if (item.folded === undefined) {
                    item.folded = folded([...this.textsOf(item), this.sourceText(item)]);
                }
                return matches(item.folded, words);
            }, slices);
        }

        showCounts() {
            for (const count of this.counts) {
                count.textContent = share(this.matching(), this.total());
            }
            this.root.classList.toggle("empty", this.matching() === 0);
        }

        /** Shows at most `limit` records for the printer. Returns how many. */
        showForPrint(limit) {
            const count = Math.min(limit, this.matches.length);
            this.list.show(this.matches, count);
            return count;
        }

        showAfterPrint() {
            this.list.show(this.matches);
        }
    }

    /** Rows of texts under headings that sort them. */
    class TableSection extends Section {
        constructor(root, sources) {
            super(root, sources);
            this.columns = [...root.querySelectorAll("th")].map((heading) => ({
                heading,
                name: heading.textContent,
                cell: Number(heading.dataset.cell),
                isTime: heading.className === "time",
            }));
            this.list = new WindowedList(this.body, "rows", FirstWindow, (item) => this.row(item));
            root.append(this.list.button);
            this.order = null;
            this.wantedOrder = null;
            this.columns.forEach((column) => this.makeSortable(column));
        }

        add(cells) {
            this.items.push({ source: cells[0], cells: cells.slice(1) });
        }

        textsOf(item) {
            return item.cells;
        }

        cellText(item, cell) {
            return cell < item.cells.length ? item.cells[cell] : this.sourceText(item);
        }

        /** The number that a time was stored as is in the cell behind it. */
        row(item) {
            const row = element("tr");
            row.setAttribute("role", "row");
            for (const { heading, name, cell, isTime } of this.columns) {
                const text = this.cellText(item, cell);
                const stored = isTime ? item.cells[cell + 1] : "";
                const data = element("td", heading.className, recovered(text, this.words));
                if (stored !== "") {
                    data.append(this.storedNumber(text, stored));
                }
                data.setAttribute("role", "cell");
                data.dataset.label = name;
                data.classList.toggle("none", text === "" && stored === "");
                row.append(data);
            }
            return row;
        }

        makeSortable(column) {
            const { heading } = column;
            const button = element("button", "", ...heading.childNodes);
            button.type = "button";
            button.addEventListener("click", () => {
                const isAscending = heading.getAttribute("aria-sort") === "ascending";
                this.columns.forEach((other) => other.heading.removeAttribute("aria-sort"));
                heading.setAttribute("aria-sort", isAscending ? "descending" : "ascending");
                this.wantedOrder = { column, sign: isAscending ? -1 : 1 };
                refresh();
            });
            heading.append(button);
        }

        keyOf(item, { cell, isTime }) {
            const text = this.cellText(item, isTime ? cell + 1 : cell);
            return isTime && text !== "" ? Number(text) : text;
        }

        // What is empty comes last, whichever way the rest is sorted.
        comparison({ column, sign }) {
            const compare = column.isTime ? (a, b) => a - b : collator.compare;
            return (a, b) => {
                if (a.key === "" || b.key === "") {
                    return (a.key === "") - (b.key === "");
                }
                return sign * compare(a.key, b.key);
            };
        }

        async update(words, slices) {
            if (this.order !== this.wantedOrder) {
                const order = this.wantedOrder;
                const keyed = this.items.slice();
                if (await filtered(keyed, (item) => {
                    item.key = this.keyOf(item, order.column);
                    return false;
                }, slices) === null) {
                    return false;
                }
                const items = await sorted(keyed, this.comparison(order), slices);
                if (items === null) {
                    return false;
                }
                this.items = items;
                this.order = order;
                this.isShown = false;
            }
            return super.update(words, slices);
        }
    }

    /** Persons, each a card of details. */
    class CardSection extends Section {
        constructor(root, sources) {
            super(root, sources);
            this.list = new WindowedList(this.body, "contacts", FirstWindow,
                (item) => this.card(item));
            root.append(this.list.button);
        }

        add([source, name, details]) {
            this.items.push({ source, name, details });
        }

        textsOf(item) {
            return [item.name, ...item.details.flat()];
        }

        card(item) {
            const details = element("dl");
            for (const [what, text] of item.details) {
                details.append(element("div", "", element("dt", "", recovered(what, this.words)),
                    element("dd", "", recovered(text, this.words))));
            }
            const card = element("article", "card",
                element("h3", "", recovered(item.name, this.words)), details);
            if (this.showsSource) {
                card.append(element("p", "source", recovered(this.sourceText(item), this.words)));
            }
            return card;
        }
    }

    /** Conversations that open to their messages. A record is a message. */
    class ConversationSection extends Section {
        constructor(root, sources) {
            super(root, sources);
            this.messageCount = 0;
            this.matchingCount = 0;
            this.list = new WindowedList(this.body, "conversations", FirstWindow,
                (match, index) => this.conversation(match, index));
            root.append(this.list.button);
        }

        // A conversation is an object, and the arrays behind it are its messages.
        add(entry) {
            if (!Array.isArray(entry)) {
                this.items.push({ ...entry, messages: [], first: "", last: "" });
                return;
            }
            const [isSent, time, stored, sender, text, attachment] = entry;
            const conversation = this.items[this.items.length - 1];
            conversation.messages.push({ isSent, time, stored, sender, text, attachment });
            if (time !== "") {
                conversation.first = conversation.first === "" || time < conversation.first
                    ? time : conversation.first;
                conversation.last = time > conversation.last ? time : conversation.last;
            }
            ++this.messageCount;
        }

        total() {
            return this.messageCount;
        }

        matching() {
            return this.matchingCount;
        }

        /** A message also matches by the title and the members of its conversation. */
        messageMatches(message, conversation, words) {
            if (message.folded === undefined) {
                message.folded = folded([message.isSent ? "Sent" : "Received", message.time,
                    message.stored, message.sender, message.text,
                    message.attachment]);
            }
            return words.every((word) => message.folded.includes(word)
                || conversation.folded.includes(word));
        }

        async find(words, slices) {
            const found = [];
            let count = 0;
            for (const conversation of this.items) {
                if (conversation.folded === undefined) {
                    conversation.folded = folded([conversation.title, ...conversation.members,
                        this.sourceText(conversation)]);
                }
                const messages = words.length === 0 ? conversation.messages
                    : await filtered(conversation.messages, (message) =>
                        this.messageMatches(message, conversation, words), slices);
                if (messages === null || (slices.isUsedUp() && !await slices.turn())) {
                    return null;
                }
                if (messages.length > 0) {
                    found.push({ conversation, messages });
                    count += messages.length;
                }
            }
            this.matchingCount = count;
            return found;
        }

        conversation(match, index) {
            const { conversation, messages } = match;
            const details = element("details", "conversation", this.summary(match));
            const bubbles = element("ol", "messages");
            const list = new WindowedList(bubbles, "messages", FirstMessages,
                (message) => this.bubble(message));
            match.list = list;
            match.details = details;
            if (conversation.members.length > 0) {
                details.append(element("p", "members", "With ",
                    ...this.listed(conversation.members)));
            }
            if (this.showsSource) {
                details.append(element("p", "source",
                    recovered(this.sourceText(conversation), this.words)));
            }
            details.append(bubbles, list.button);
            details.addEventListener("toggle", () => {
                if (details.open && list.end === 0) {
                    list.show(messages);
                }
            });
            details.open = this.words.length > 0 && index < OpenMatches;
            return details;
        }

        listed(texts) {
            return texts.flatMap((text, i) => [i === 0 ? "" : ", ", recovered(text, this.words)]);
        }

        summary({ conversation, messages }) {
            const all = conversation.messages.length;
            const dates = conversation.first === "" ? "no date"
                : [...new Set([conversation.first.slice(0, 10), conversation.last.slice(0, 10)])]
                    .join(" to ");
            return element("summary", "",
                element("h3", "", recovered(conversation.title, this.words)),
                element("span", "facts-line", messages.length === all
                    ? plural(all, "message", "messages")
                    : `${share(messages.length, all)} messages`),
                element("span", "facts-line", dates));
        }

        bubble(message) {
            const head = element("p", "bubble-head",
                element("span", "who", ...(message.isSent ? ["Sent"]
                    : message.sender === "" ? ["Received"] : [recovered(message.sender, this.words)])));
            if (message.time !== "") {
                head.append(element("time", "", ...marked(message.time, this.words)));
            }
            head.append(this.storedNumber(message.time, message.stored));
            const bubble = element("li", message.isSent ? "bubble sent" : "bubble received", head,
                element("p", "text", recovered(message.text, this.words)));
            if (message.attachment !== "") {
                bubble.append(element("pre", "attachment",
                    recovered(message.attachment, this.words)));
            }
            return bubble;
        }

        showForPrint(limit) {
            let left = limit;
            this.list.show(this.matches, limit);
            for (const match of this.matches) {
                if (left === 0) {
                    break;
                }
                const count = Math.min(left, match.messages.length);
                match.list.show(match.messages, count);
                match.details.open = true;
                left -= count;
            }
            return limit - left;
        }
    }

    const layouts = { table: TableSection, cards: CardSection, conversations: ConversationSection };

    // ---- the page ----------------------------------------------------------------------------

    const filter = document.getElementById("filter");
    const status = document.getElementById("status");
    const printNote = document.getElementById("print-note");
    const sources = JSON.parse(document.getElementById("sources").textContent);
    const sections = [...document.querySelectorAll("section[data-layout]")]
        .map((root) => new layouts[root.dataset.layout](root, sources));
    let isLoaded = false;
    let generation = 0;

    function wordsOfFilter() {
        return filter.value.normalize("NFC").toLowerCase().split(/\s+/u).filter((word) => word);
    }

    function sum(numbersOf) {
        return sections.reduce((result, section) => result + numbersOf(section), 0);
    }

    function showStatus(words) {
        const all = sum((section) => section.total());
        const count = sum((section) => section.matching());
        status.textContent = words.length === 0 ? plural(all, "record", "records")
            : `${share(count, all)} ${all === 1 ? "record matches" : "records match"}`;
        document.body.dataset.state = "ready";
    }

    /** Brings all sections into line with the filter and the wanted orders. */
    async function refresh() {
        const mine = ++generation;
        const words = wordsOfFilter();
        document.body.dataset.state = "busy";
        if (!isLoaded) {
            return;
        }
        const slices = new Slices(() => mine === generation);
        for (const section of sections) {
            if (!await section.update(words, slices)) {
                return;
            }
            if (!await slices.turn()) {
                return;
            }
        }
        showStatus(words);
    }

    // The address carries the filter, so that a view can be handed on.
    function filterOfAddress() {
        const match = /^#filter=(.*)$/u.exec(location.hash);
        if (match === null) {
            return null;
        }
        try {
            return decodeURIComponent(match[1]);
        } catch {
            return match[1];
        }
    }

    function takeFilterOfAddress() {
        const text = filterOfAddress();
        if (text !== null && text !== filter.value) {
            filter.value = text;
            refresh();
        }
    }

    function noteFilterInAddress() {
        const hash = filter.value === "" ? "#records" : `#filter=${encodeURIComponent(filter.value)}`;
        try {
            history.replaceState(null, "", hash);
        } catch {
            // A viewer that keeps its addresses to itself; the filter works without.
        }
    }

    async function load() {
        const byId = new Map(sections.map((section) => [section.root.id, section]));
        const slices = new Slices(() => true);
        for (const chunk of document.querySelectorAll("script[data-section]")) {
            const section = byId.get(chunk.dataset.section);
            JSON.parse(chunk.textContent).forEach((entry) => section.add(entry));
            await slices.turn();
        }
        isLoaded = true;
        refresh();
    }

    function showForPrint() {
        let left = PrintLimit;
        for (const section of sections) {
            left -= section.showForPrint(left);
        }
        const matching = sum((section) => section.matching());
        const omitted = matching - (PrintLimit - left);
        const words = filter.value.trim() === "" ? "" : ` that match "${filter.value.trim()}"`;
        printNote.textContent = `This print holds ${numbers.format(matching - omitted)} of the `
            + `${plural(matching, "record", "records")}${words}.`
            + (omitted === 0 ? "" : ` ${numbers.format(omitted)} are left out, because a print holds `
                + `${numbers.format(PrintLimit)} at most; a filter chooses which.`);
        printNote.hidden = false;
    }

    function showAfterPrint() {
        printNote.hidden = true;
        sections.forEach((section) => section.showAfterPrint());
    }

    let typing = 0;
    filter.addEventListener("input", () => {
        clearTimeout(typing);
        document.body.dataset.state = "busy";
        typing = setTimeout(() => {
            noteFilterInAddress();
            refresh();
        }, TypingMilliseconds);
    });
    window.addEventListener("hashchange", takeFilterOfAddress);
    window.addEventListener("beforeprint", showForPrint);
    window.addEventListener("afterprint", showAfterPrint);
    filter.value = filterOfAddress() || "";
    document.querySelector(".tools").hidden = false;
    status.textContent = "Reading the records";
    load();
})();
