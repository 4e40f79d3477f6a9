// Joining a network: from the choice through the reload of the radio to the result.
import { call, fields, pause } from "./device.js";
import { t } from "./texts.js";
import { bdi, button, explain, h } from "./ui.js";

const ASK_EVERY = 1000; // ms

// A choice as SetWirelessClientSettings takes it, in its order.
export function settings({ SSID, SecurityType, Encryption }, Key) {
  // A survey calls every WEP network one of 64 bits, and one with both ciphers WPA2: neither is taken like that.
  if (SecurityType.startsWith("WEP")) Encryption = Key.length === 10 ? "WEP-64" : "WEP-128";
  if (Encryption === "TKIPORAES") SecurityType = "WPA-AUTO-PSK";
  const SecurityEnabled = SecurityType !== "";
  return { SSID, NetworkType: "INFRASTRUCTURE", SecurityEnabled, SecurityType, Encryption, Key };
}

// Asks until the device knows what came of the choice. It does not answer while it reloads its radio.
async function result(say) {
  for (;;) {
    await pause(ASK_EVERY);
    try {
      const { Result } = fields(await call("GetLastSetWirelessClientSettingsResult", {}, { timeout: 10000, patience: 10000 }));
      if (Result !== "UNKNOWN") return Result;
      say("stepTry");
    } catch (error) {
      explain(error);
      say("stepGone");
    }
  }
}

// Shows each step in `place`. `again` leads back: with true to the same network.
export async function join(chosen, place, again) {
  const heading = h("h2", { tabIndex: -1 }, t("joining"), " ", bdi(chosen.SSID));
  const steps = h("ol", { ariaLive: "polite" });
  const actions = h("div.actions");
  const step = (text, className = "") => text !== steps.lastChild?.textContent && steps.append(h("li", { className }, text));
  place.replaceChildren(h("section", heading, steps, actions));
  heading.focus();
  step(t("stepSend"));
  let joined;
  try {
    await call("SetWirelessClientSettings", chosen);
    step(t("stepDrop"));
    const outcome = await result((key) => step(t(key)));
    joined = outcome === "SUCCESS";
    step(t(outcome), joined ? "good" : "bad");
  } catch (error) {
    step(explain(error), "bad");
  }
  actions.append(
    joined ? h("a.primary", { href: "#status" }, t("seeStatus")) : button("tryAgain", () => again(true), "primary"),
    button("otherNetwork", () => again(false)),
  );
}
