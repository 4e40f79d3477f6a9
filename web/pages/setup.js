// Setup: the networks around and the choice of one.
import { all, call, fields } from "./device.js";
import { join, settings } from "./join.js";
import { t } from "./texts.js";
import { attempt, bars, bdi, button, card, dialog, field, form, h, line, show } from "./ui.js";

const LONGEST_SURVEY = 60000; // ms; the device tries up to six times

// Networks of one name and security are one choice: the device picks the access point itself.
function merge(networks) {
  const choices = new Map();
  for (const network of networks) {
    const { SSID, SecurityType, Encryption, SignalStrength, Mode } = network;
    const key = [SecurityType, Encryption, SSID].join();
    const choice = choices.get(key) ?? { ...network, signal: 0, bands: new Set() };
    choice.signal = Math.max(choice.signal, SignalStrength);
    choice.bands.add(Mode.startsWith("802.11a") ? "5 GHz" : "2.4 GHz"); // of the band itself nothing is told
    choices.set(key, choice);
  }
  return [...choices.values()].sort((a, b) => b.signal - a.signal);
}

const security = ({ SecurityType, Encryption }) => t(Encryption === "TKIPORAES" ? "WPA-AUTO-PSK" : SecurityType || "open");

function row(network, joined, choose) {
  const { SSID, signal, bands } = network;
  const odd = /[\ufffd\t\n]/.test(SSID); // not quite what was in the air: it could not go back
  return h("li", h("button.network", { type: "button", disabled: odd, onclick: () => choose(network) },
    bars(signal),
    h("span", bdi(SSID), h("small", odd ? t("oddName") : `${[...bands].sort().join(" + ")} · ${security(network)} · ${signal} %`)),
    SSID === joined ? h("b.badge", t("up")) : ""));
}

// A word on what is typed of a key, and whether it is one.
function judge(wep, key) {
  const rule = t(wep ? "wepRule" : "wpaRule");
  const hexadecimal = /^[\da-f]*$/i.test(key);
  const { length } = key;
  if (wep ? !hexadecimal : /[^ -~]/.test(key)) return [t(wep ? "keyHex" : "keyAscii"), false];
  const right = wep ? length === 10 || length === 26 : length >= 8 && length < (hexadecimal ? 65 : 64);
  return [right ? t("keyGood") : length ? t("keyMore", { length, rule }) : rule, right];
}

// Asks for what a choice still needs: the key; of a hidden network the name and one of `kinds`.
function complete(network, kinds, done) {
  const plain = { autocomplete: "off", autocapitalize: "off", spellcheck: false };
  const name = h("input", { ...plain, required: true, maxLength: 32 });
  const kind = h("select", kinds.map((value, i) => h("option", { value: i }, security(value))));
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
    ...(network ? [] : [field("networkName", name, t("nameRule")), field("security", kind)]), secret, h("p.hint", t("takesOver")));
  asked.lastChild.prepend(button("cancel", () => box.close()));
  asked.oninput = check;
  check();
  const box = dialog(network ? bdi(network.SSID) : t("hidden"), asked);
}

// What the device can join, the usual first.
async function securities() {
  const secured = all(await call("GetWirelessClientCapabilities"), "SecurityInfo").map((info) => ({
    ...fields(info),
    Encryption: all(info, "string")[0].textContent,
  }));
  const usual = secured.findIndex(({ SecurityType }) => SecurityType === "WPA2-PSK");
  return [...secured.splice(usual, 1), ...secured, { SecurityType: "", Encryption: "" }];
}

export default function setup(body, session) {
  const present = h("p");
  const state = line();
  const list = h("ul");
  const again = button("scan", () => attempt(again, state, survey));
  const hidden = button("hidden", () => attempt(hidden, state, async () => choose(null, await securities())));
  const home = [present, card("networks", state, list, h("div.actions", again, hidden))];
  let joined;

  function choose(network, kinds = []) {
    const back = (same) => (body.replaceChildren(...home), same ? choose(network, kinds) : look());
    complete(network, kinds, (chosen) => void join(chosen, body, back));
  }
  async function survey() {
    state.textContent = t("scanning");
    const reply = await call("GetWirelessNetworks", {}, { timeout: LONGEST_SURVEY, patience: LONGEST_SURVEY });
    const networks = merge(all(reply, "WirelessNetwork").map(fields));
    list.replaceChildren(...networks.map((network) => row(network, joined, choose)));
    return t(networks.length ? "found" : "foundNone", { count: networks.length });
  }
  async function look() {
    const { SSID, Connected } = fields(await call("GetWirelessClientSettings"));
    session.connected = Connected === "true";
    joined = session.connected && SSID;
    show(present, ...(joined ? [t("connectedTo"), " ", bdi(SSID)] : [t("notConnected")]));
    return attempt(again, state, survey);
  }
  body.append(...home);
  return look();
}
