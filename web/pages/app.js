// Signs in, and shows the page that the address names.
import { all, call, events, fields, greet, leavePage, password, setLogin, signOut } from "./device.js";
import { t, useLanguage } from "./texts.js";
import { attempt, button, field, form, h } from "./ui.js";
import setup from "./setup.js";
import status from "./status.js";
import speed from "./speed.js";
import settings from "./settings.js";
import firmware from "./firmware.js";

const pages = { setup, status, speed, device: settings, firmware };
const [name, out, nav, waiting, advice, main] = ["name", "out", "nav", "waiting", "advice", "main"].map((id) => document.getElementById(id));

// What the pages share: the fields of GetDeviceSettings and GetDeviceSettings2. Whoever changes them calls frame().
const session = { frame };
let shown;

// The device advertises an address for two of the pages; elsewhere begins what somebody needs now.
function wanted() {
  const asked = location.hash.slice(1);
  if (pages[asked]) return asked;
  const [, place] = location.pathname.split("/");
  return place === "status" || (place !== "wireless" && session.connected) ? "status" : "setup";
}

function frame() {
  name.textContent = session.DeviceName ?? t("product");
  out.textContent = t("signOut");
  out.hidden = nav.hidden = !session.signedIn;
  nav.replaceChildren(...Object.keys(pages).map((page) => h("a", { href: `#${page}`, ariaCurrent: page === shown ? "page" : null }, t(page))));
  const advise = session.signedIn && password() === "admin" && shown !== "device";
  advice.replaceChildren(...(advise ? [t("firstPassword"), " ", h("a", { href: "#device" }, t("changePassword"))] : []));
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
  await attempt(body, trouble, () => (pages[shown] ?? signIn)(body, session, why));
  if (trouble.textContent) trouble.after(button("tryAgain", () => open()));
}

function signIn(body, _, why) {
  const user = h("input", { autocomplete: "username", required: true, value: "admin" });
  const secret = h("input", { type: "password", autocomplete: "current-password" });
  async function submit() {
    setLogin(user.value, secret.value);
    const { Connected } = fields(await call("GetWirelessClientSettings"));
    const reply = await call("GetDeviceSettings2");
    const locales = all(reply, "string").map((locale) => locale.textContent);
    Object.assign(session, fields(reply), { signedIn: true, connected: Connected === "true", locales });
    await useLanguage(session.Locale);
    open();
  }
  body.append(h("section.narrow", why ? h("p", { role: "alert" }, t(why)) : "", form("signIn", submit, field("user", user), field("password", secret, t("signInNote")))));
  secret.focus();
}

events.addEventListener("waiting", ({ detail }) => (waiting.textContent = detail ? t("waiting") : ""));
events.addEventListener("signed-out", ({ detail }) => {
  if (!session.signedIn) return;
  session.signedIn = false;
  open(detail);
});
addEventListener("hashchange", () => open());
out.onclick = () => signOut();
open();
// Who the device is; somebody may sign in before it has said so.
greet().then((reply) => frame(Object.assign(session, fields(reply))), () => {});
