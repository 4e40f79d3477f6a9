// Signs in, and shows the page that the address names.
import { all, call, fields, greet, leavePage, login, on, signIn, signOut } from "./device.js";
import { t, useLanguage } from "./texts.js";
import { attempt, button, field, form, h } from "./ui.js";
import setup from "./setup.js";
import status from "./status.js";
import speed from "./speed.js";
import settings from "./settings.js";
import firmware from "./firmware.js";

const pages = { __proto__: null, setup, status, speed, device: settings, firmware };
const [name, out, nav, waiting, advice, main] = ["#name", "#out", "nav", "#waiting", "#advice", "main"].map((it) => document.querySelector(it));

// What the pages share: the fields of GetDeviceSettings and GetDeviceSettings2. Whoever changes them calls frame().
const session = { frame };
let shown;

// The device advertises an address for two of the pages; elsewhere begins what somebody needs now.
function wanted() {
	const asked = location.hash.slice(1) || location.pathname.split("/")[1];
	return pages[asked] ? asked : session.connected && asked !== "wireless" ? "status" : "setup";
}

function frame() {
	name.textContent = session.DeviceName ?? name.textContent;
	out.textContent = t("signOut");
	out.hidden = nav.hidden = !session.signedIn;
	nav.replaceChildren(...Object.keys(pages).map((page) => h("a", { href: `#${page}`, ariaCurrent: page === shown ? "page" : null }, t(page))));
	advice.hidden = login?.password !== "admin" || shown === "device";
	advice.replaceChildren(t("firstPassword"), h("a", { href: "#device" }, t("change")));
}

async function open(why) {
	if (nav.inert) return void (location.hash = shown);
	leavePage();
	document.querySelector("dialog")?.close();
	shown = session.signedIn ? wanted() : "signIn";
	frame();
	const heading = h("h1", { tabIndex: -1 }, t(shown));
	const body = h("div");
	const trouble = h("p", { role: "alert" });
	main.replaceChildren(heading, body, trouble);
	document.title = `${t(shown)} · ${name.textContent}`;
	heading.focus();
	await attempt(body, trouble, () => (pages[shown] ?? welcome)(body, session, why));
	if (trouble.textContent) trouble.after(button("again", () => open()));
}

function welcome(body, _, why) {
	const user = h("input", { autocomplete: "username", required: true, value: "admin" });
	const secret = h("input", { type: "password", autocomplete: "current-password" });
	async function submit() {
		secret.select(); // should it be wrong
		signIn(user.value, secret.value);
		const { Connected } = fields(await call("GetWirelessClientSettings"));
		const reply = await call("GetDeviceSettings2");
		const locales = all(reply, "string").map((locale) => locale.textContent);
		Object.assign(session, fields(await call("GetDeviceSettings")), fields(reply), { signedIn: true, connected: Connected === "true", locales });
		useLanguage(session.Locale);
		open();
	}
	body.append(h("section.narrow", h("p", t(why) ?? ""), form("signIn", submit, field("user", user), field("password", secret))));
	secret.focus();
}

on.waiting = (whether) => (waiting.textContent = whether ? t("waiting") : "");
on.signedOut = (why) => {
	if (!session.signedIn) return;
	session.signedIn = false;
	open(why);
};
addEventListener("hashchange", () => open());
out.onclick = () => nav.inert || signOut();
open();
// Who the device is; somebody may sign in before it has said so.
greet().then((reply) => {
	session.DeviceName = fields(reply).DeviceName;
	frame();
}, () => {});
