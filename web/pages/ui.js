// Builds what the pages show. Texts become text nodes only: none is ever taken for markup.
import { t } from "./texts.js";

// h("p.lead", { id: "a" }, "text", h("b", "more")): an element with its class, properties and content.
export function h(name, ...content) {
	const [tag, className] = name.split(".");
	const node = document.createElement(tag);
	if (className) node.className = className;
	if (content[0]?.constructor === Object) Object.assign(node, content.shift());
	node.append(...content.flat());
	return node;
}

export function svg(tag, attributes, ...content) {
	const node = document.createElementNS("http://www.w3.org/2000/svg", tag);
	for (const name in attributes) node.setAttribute(name, attributes[name]);
	node.append(...content);
	return node;
}

export const bdi = (text) => h("bdi", text); // a text from outside, whatever direction its letters have
export const card = (key, ...content) => h("section", h("h2", t(key)), ...content);
export const button = (key, onclick, className = "") => h("button", { type: "button", className, onclick }, t(key));
export const field = (key, input, hint = "") => h("label", t(key), input, h("small", { ariaLive: "polite" }, hint));
export const line = () => h("p", { role: "status" }); // says how things go
export const facts = (rows) => h("dl", Object.keys(rows).map((key) => h("div", h("dt", t(key)), h("dd", bdi(rows[key])))));

// Changes only what differs, so that nothing flickers and no screen reader speaks without need.
export function show(node, ...content) {
	const next = h("div", ...content);
	if (next.innerHTML !== node.innerHTML) node.replaceChildren(...next.childNodes);
}

export function bars(signal) {
	const bar = (i) => svg("rect", { x: i * 5, y: 12 - i * 4, width: 3.5, height: 4 + i * 4, class: signal > i * 25 ? "on" : "" });
	return svg("svg", { class: "bars", viewBox: "0 0 19 16", "aria-hidden": true }, ...[0, 1, 2, 3].map(bar));
}

// The sentence for a Trouble. Another error goes on: a fault, or that the page was left.
export function explain(error) {
	const { kind, code } = error;
	if (!kind) throw error;
	return t(kind, { code, reason: t(code) ?? "" });
}

// Runs a task, not twice at once, and says in `place` what it gives or what went wrong.
export async function attempt(control, place, task) {
	if (control.classList.contains("busy")) return;
	control.classList.add("busy");
	try {
		place.className = "good";
		place.textContent = (await task()) ?? place.textContent;
	} catch (error) {
		if (error.name === "AbortError") return;
		place.className = "bad";
		place.textContent = explain(error);
	} finally {
		control.classList.remove("busy");
	}
}

// A form whose submission runs `task`.
export function form(key, task, ...content) {
	const outcome = h("p", { role: "alert" });
	const onsubmit = (event) => {
		event.preventDefault();
		outcome.textContent = "";
		attempt(node, outcome, task);
	};
	const node = h("form", { onsubmit }, ...content, outcome, h("div.actions", h("button.primary", t(key))));
	return node;
}

export function dialog(title, ...content) {
	const node = h("dialog", { onclose: () => node.remove() }, h("h2", { id: "title" }, title), ...content);
	node.setAttribute("aria-labelledby", "title");
	document.body.append(node);
	node.showModal();
	return node;
}

// Asks before a task of that key. True when it shall be done.
export const ask = (key) =>
	new Promise((resolve) => {
		const node = dialog(t(`${key}Ask`), h("p", t(`${key}Note`)),
			h("div.actions", button("cancel", () => node.close()), button(key, () => (resolve(true), node.close()), "primary")));
		node.addEventListener("close", () => resolve(false));
	});
