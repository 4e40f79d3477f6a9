// Setup: the networks around, the choice of one, and what comes of it.
import { all, call, fields, pause } from "./device.js";
import { t } from "./texts.js";
import { attempt, bars, bdi, button, card, dialog, explain, field, form, h, line, show } from "./ui.js";

// Networks of one name and security are one choice: the device picks the access point itself.
function merge(networks) {
	const choices = new Map();
	for (const network of networks.sort((a, b) => b.SignalStrength - a.SignalStrength)) {
		const key = [network.SecurityType, network.Encryption, network.SSID].join();
		if (!choices.has(key)) choices.set(key, { ...network, bands: new Set() });
		choices.get(key).bands.add(network.Mode.startsWith("802.11a") ? "5 GHz" : "2.4 GHz"); // all that tells the band
	}
	return [...choices.values()];
}

function security({ SecurityType, Encryption }) {
	const type = Encryption === "TKIPORAES" ? "WPA-AUTO-PSK" : SecurityType || "open";
	return t(type) ?? type;
}

function row(network, joined, choose) {
	const { SSID, SignalStrength, bands } = network;
	const odd = /[\ufffd\t\n]/.test(SSID); // not quite what was in the air: it could not go back
	return h("li", h("button.network", { type: "button", disabled: odd, onclick: () => choose(network) },
		bars(SignalStrength),
		h("span", bdi(SSID), h("small", odd ? t("odd") : `${[...bands].sort().join(" + ")} · ${security(network)} · ${SignalStrength} %`)),
		SSID === joined ? h("i", t("connected")) : ""));
}

// A word on what is typed of a key, and whether it is one.
function judge(wep, key) {
	const rule = t(wep ? "wepRule" : "wpaRule");
	const hexadecimal = /^[\da-f]*$/i.test(key);
	const { length } = key;
	if (wep ? !hexadecimal : /[^ -~]/.test(key)) return [t(wep ? "wepOnly" : "wpaOnly"), false];
	const right = wep ? length === 10 || length === 26 : length >= 8 && length < (hexadecimal ? 65 : 64);
	return [right ? t("right") : length ? t("typed", { length, rule }) : rule, right];
}

// Asks for what a choice still needs: the key; of a hidden network the name and one of `kinds`.
function complete(network, kinds, done) {
	const plain = { autocomplete: "off", autocapitalize: "off", spellcheck: false };
	const name = h("input", { ...plain, required: true, maxLength: 32 });
	const kind = h("select", kinds.map((kind, value) => h("option", { value, selected: kind.SecurityType === "WPA2-PSK" }, security(kind))));
	const key = h("input", { ...plain, type: "password" });
	const reveal = h("input", { type: "checkbox", onchange: () => (key.type = reveal.checked ? "text" : "password") });
	const keyField = field("key", key);
	const secret = h("div", keyField, h("label", reveal, t("showKey")));
	const chosen = () => network ?? { ...kinds[kind.value], SSID: name.value };

	function check() {
		const { SecurityType } = chosen();
		const [word, right] = judge(SecurityType.startsWith("WEP"), key.value);
		secret.hidden = !SecurityType;
		keyField.lastChild.className = right ? "good" : "";
		show(keyField.lastChild, word);
		key.setCustomValidity(secret.hidden || right ? "" : word);
	}
	const asked = form("join", () => (box.close(), done(settings(chosen(), key.value))),
		...(network ? [] : [field("name", name), field("security", kind)]), secret, h("small", t("takesOver")));
	asked.lastChild.prepend(button("cancel", () => box.close()));
	asked.oninput = check;
	check();
	const box = dialog(network ? bdi(network.SSID) : t("hidden"), asked);
}

// What the device can join.
async function securities() {
	const secured = all(await call("GetWirelessClientCapabilities"), "SecurityInfo");
	const kinds = secured.map((info) => ({ ...fields(info), Encryption: all(info, "string")[0].textContent }));
	return [...kinds, { SecurityType: "", Encryption: "" }];
}

// A choice as SetWirelessClientSettings takes it, in its order.
function settings({ SSID, SecurityType, Encryption }, Key) {
	// A survey calls every WEP network one of 64 bits, and one with both ciphers WPA2: neither is taken like that.
	if (SecurityType.startsWith("WEP")) Encryption = Key.length === 10 ? "WEP-64" : "WEP-128";
	if (Encryption === "TKIPORAES") SecurityType = "WPA-AUTO-PSK";
	const SecurityEnabled = SecurityType !== "";
	return { SSID, NetworkType: "INFRASTRUCTURE", SecurityEnabled, SecurityType, Encryption, Key };
}

// Asks until the device knows what came of the choice. It does not answer while it reloads its radio.
async function result(say) {
	for (;;) {
		await pause(1000);
		try {
			const { Result } = fields(await call("GetLastSetWirelessClientSettingsResult", {}, 10000));
			if (Result !== "UNKNOWN") return Result;
			say("tries");
		} catch (error) {
			explain(error);
			say("gone");
		}
	}
}

// Shows each step in `place`. `again` leads back: with true to the same network.
async function join(chosen, place, again) {
	const heading = h("h2", { tabIndex: -1 }, t("joining"), bdi(chosen.SSID));
	const steps = h("ol", { ariaLive: "polite" });
	const actions = h("div.actions");
	const step = (text, className = "") => text !== steps.lastChild?.textContent && steps.append(h("li", { className }, text));
	place.replaceChildren(h("section", heading, steps, actions));
	heading.focus();
	step(t("sent"));
	let joined;
	try {
		await call("SetWirelessClientSettings", chosen);
		step(t("drops"));
		const outcome = await result((key) => step(t(key)));
		joined = outcome === "SUCCESS";
		step(t(outcome), joined ? "good" : "bad");
	} catch (error) {
		step(explain(error), "bad");
	}
	actions.append(
		joined ? h("a.primary", { href: "#status" }, t("seeStatus")) : button("again", () => again(true), "primary"),
		button("other", () => again(false)),
	);
}

export default function setup(body, session) {
	const present = h("p");
	const state = line();
	const list = h("ul");
	const again = button("scan", () => attempt(again, state, survey));
	const hidden = button("hidden", () => attempt(hidden, state, async () => choose(null, await securities())));
	const home = [present, card("networks", state, h("div.actions", again, hidden), list)];
	let joined;

	function choose(network, kinds = []) {
		const run = (task) => void attempt(body, state, task);
		const back = (same) => {
			body.replaceChildren(...home);
			again.focus();
			same ? choose(network, kinds) : run(look);
		};
		complete(network, kinds, (chosen) => run(() => join(chosen, body, back)));
	}
	async function survey() {
		state.textContent = t("scanning");
		const reply = await call("GetWirelessNetworks", {}, 60000); // the device tries up to six times
		const networks = merge(all(reply, "WirelessNetwork").map(fields));
		list.replaceChildren(...networks.map((network) => row(network, joined, choose)));
		return t(networks.length ? "found" : "none", { count: networks.length });
	}
	async function look() {
		const { SSID, Connected } = fields(await call("GetWirelessClientSettings"));
		session.connected = Connected === "true";
		joined = session.connected && SSID;
		show(present, ...(joined ? [t("joined"), bdi(SSID)] : [t("choose")]));
		return attempt(again, state, survey);
	}
	body.append(...home);
	return look();
}
