// Device: name and password, language, restart and factory reset.
import { call, greet, login, restarted, signIn, signOut, Trouble } from "./device.js";
import { t, useLanguage } from "./texts.js";
import { ask, attempt, button, card, field, form, h, line } from "./ui.js";

function nameAndPassword(session) {
	const name = h("input", { required: true, maxLength: 15, value: session.DeviceName });
	const fresh = h("input", { type: "password", autocomplete: "new-password" });
	const repeat = fresh.cloneNode();

	async function save() {
		if (fresh.value !== repeat.value) throw new Trouble("differ");
		const AdminPassword = fresh.value || login.password;
		await call("SetDeviceSettings", { DeviceName: name.value, AdminPassword });
		signIn(login.user, AdminPassword);
		session.DeviceName = name.value;
		session.frame();
		fresh.value = repeat.value = "";
		return t("saved");
	}
	return card("nameAndPassword", form("save", save, h("input", { hidden: true, autocomplete: "username", value: login.user }),
		field("name", name, t("nameRule")), field("newPassword", fresh, t("passwordRule")), field("repeat", repeat)));
}

function language(session) {
	const option = (value) => h("option", { value }, new Intl.DisplayNames(value, { type: "language" }).of(value));
	const locale = h("select", session.locales.map(option));
	locale.value = session.Locale;

	async function save() {
		const Locale = (session.Locale = locale.value);
		await call("SetDeviceSettings2", { Username: login.user, TimeZone: "UTC", AutoAdjustDST: false, Locale, SSL: false });
		useLanguage(Locale);
		session.frame();
		return t("saved");
	}
	return card("language", form("save", save, field("language", locale)));
}

function restart() {
	const state = line();
	const say = (key) => (state.textContent = t(key));
	const task = (key, work) => {
		const control = button(key, async () => (await ask(key)) && attempt(control, state, work));
		return control;
	};
	const reboot = task("reboot", async () => {
		await call("Reboot");
		await restarted(say);
		return t("back");
	});
	const reset = task("reset", async () => {
		say("goes");
		await call("RestoreFactoryDefaults");
		await restarted(say, greet); // it takes another password now
		signOut("resetDone");
	});
	return card("restart", h("small", t("rebootNote"), " ", t("resetNote")), state, h("div.actions", reboot, reset));
}

export default (body, session) =>
	body.append(h("div.columns", nameAndPassword(session), language(session), restart()));
