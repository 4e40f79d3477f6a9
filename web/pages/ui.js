// Builds what the pages show. Texts become text nodes only: none is ever taken for markup.
import { t } from "./texts.js";

// h("p.hint", { id: "a" }, "text", h("b", "more")): an element with its class, properties and content.
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
  Object.entries(attributes).forEach((attribute) => node.setAttribute(...attribute));
  node.append(...content);
  return node;
}

export const bdi = (text) => h("bdi", text); // a text from outside, whatever direction its letters have
export const card = (key, ...content) => h("section", h("h2", t(key)), ...content);
export const button = (key, onclick, className = "") => h("button", { type: "button", className, onclick }, t(key));
export const field = (key, input, hint = "") => h("label", t(key), input, h("small", { ariaLive: "polite" }, hint));
export const line = () => h("p", { role: "status" }); // says how things go

// Changes only what differs, so that nothing flickers and no screen reader speaks without need.
export function show(node, ...content) {
  const next = h("div", ...content);
  if (next.innerHTML !== node.innerHTML) node.replaceChildren(...next.childNodes);
}

// Rows of a text's key and a value.
export const facts = (rows) => h("dl", Object.entries(rows).map(([key, value]) => h("div", h("dt", t(key)), h("dd", bdi(value)))));

// Four bars for a signal in percent; the number stands beside them.
export function bars(signal) {
  const bar = (i) => svg("rect", { x: i * 5, y: 12 - i * 4, width: 3.5, height: 4 + i * 4, class: signal > i * 25 ? "on" : "off" });
  return svg("svg", { class: "bars", viewBox: "0 0 19 16", "aria-hidden": true }, ...[0, 1, 2, 3].map(bar));
}

// The sentence for a Trouble. Another error goes on: a fault, or that the page was left.
export function explain(error) {
  if (!error.kind) throw error;
  return t(error.kind, { code: error.code, reason: t(error.code) ?? "" });
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

// Asks before what cannot be undone. True when it shall be done.
export const ask = (question, text, yes) =>
  new Promise((resolve) => {
    const answer = (value) => () => (resolve(value), node.close());
    const node = dialog(t(question), h("p", t(text)),
      h("div.actions", button("cancel", () => node.close()), button(yes, answer(true), "primary")));
    node.addEventListener("close", answer(false));
  });

// Keeps the page: what it does now must not be left.
export function hold(on) {
  document.getElementById("nav").inert = on;
  window.onbeforeunload = on ? (event) => event.preventDefault() : null;
}
