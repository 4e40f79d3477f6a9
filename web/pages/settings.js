// Device: name and password, language, restart and factory reset.
import { call, password, setLogin, signOut, Trouble, user } from "./device.js";
import { ready, restarted } from "./restart.js";
import { t, useLanguage } from "./texts.js";
import { ask, attempt, button, card, field, form, h, line } from "./ui.js";

function nameAndPassword(session) {
  const name = h("input", { required: true, maxLength: 15, value: session.DeviceName });
  const fresh = h("input", { type: "password", autocomplete: "new-password" });
  const repeat = fresh.cloneNode();

  async function save() {
    if (fresh.value !== repeat.value) throw new Trouble("differ");
    const AdminPassword = fresh.value || password();
    await call("SetDeviceSettings", { DeviceName: name.value, AdminPassword });
    setLogin(user(), AdminPassword);
    session.DeviceName = name.value;
    session.frame();
    fresh.value = repeat.value = "";
    return t("saved");
  }
  return card("nameAndPassword", form("save", save,
    field("deviceName", name, t("deviceRule")), field("newPassword", fresh, t("passwordRule")), field("repeat", repeat)));
}

function language(session) {
  const option = (value) => h("option", { value }, new Intl.DisplayNames(value, { type: "language" }).of(value));
  const locale = h("select", session.locales.map(option));
  locale.value = session.Locale;

  async function save() {
    const Locale = (session.Locale = locale.value);
    await call("SetDeviceSettings2", { Username: user(), TimeZone: "UTC", AutoAdjustDST: false, Locale, SSL: false });
    await useLanguage(Locale);
    session.frame();
    return t("saved");
  }
  return card("language", form("save", save, field("language", locale, t("languageNote"))));
}

function restart() {
  const state = line();
  const task = (key, look, question, note, work) => {
    const control = button(key, () => attempt(control, state, async () => (await ask(question, note, key)) && work()), look);
    return control;
  };
  const reboot = async () => {
    await call("Reboot");
    await ready(state);
    return t("isBack");
  };
  const reset = async () => {
    state.textContent = t("waitDown");
    await call("RestoreFactoryDefaults", {}, { patience: 10000 });
    await restarted(state);
    signOut("resetDone");
  };
  return card("restart", h("p.hint", t("restartNote")), h("p.hint", t("resetNote")), state,
    h("div.actions", task("reboot", "", "askReboot", "restartNote", reboot), task("reset", "danger", "askReset", "resetNote", reset)));
}

export default (body, session) =>
  body.append(h("div.columns", nameAndPassword(session), language(session), restart()));
