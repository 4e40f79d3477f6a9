// Firmware: what is installed, and another one from a file.
import { call, fields, Trouble, upload } from "./device.js";
import { ready } from "./restart.js";
import { t } from "./texts.js";
import { ask, card, facts, field, form, h, hold, line, show } from "./ui.js";

const HEADER = 64; // bytes of a boot-loader image
const MAGIC = 0x27051956; // with which it begins; the device checks the rest

const looksLikeFirmware = async (file) =>
  file.size >= HEADER && new DataView(await file.slice(0, HEADER).arrayBuffer()).getUint32() === MAGIC;

const base64 = (file) => new Promise((resolve, reject) => {
  const reader = new FileReader();
  reader.onload = () => resolve(reader.result.split(",")[1]);
  reader.onerror = () => reject(new Trouble("unreadable"));
  reader.readAsDataURL(file);
});

export default async function firmware(body) {
  const present = h("div");
  const file = h("input", { type: "file", required: true });
  const progress = h("progress", { hidden: true, ariaLabel: t("update") });
  const state = line();

  async function describe() {
    const { ModelName, ModelRevision, FirmwareVersion, FirmwareDate } = fields(await call("GetFirmwareSettings"));
    const [date] = FirmwareDate.split("T");
    show(present, facts({ model: ModelName, revision: ModelRevision, version: FirmwareVersion, date }));
    return FirmwareVersion;
  }
  function sent(share) {
    progress.value = share;
    show(state, t("sending", { percent: Math.floor(share * 100) }));
    if (share < 1) return;
    progress.removeAttribute("value"); // the device writes for minutes, and tells nothing
    show(state, t("writing"));
  }
  async function install() {
    const [image] = file.files;
    if (!(await looksLikeFirmware(image))) throw new Trouble("notFirmware");
    if (!(await ask("askInstall", "installNote", "install"))) return;
    hold(true);
    progress.hidden = false;
    try {
      await call("IsDeviceReady"); // the sign-in must hold before all of the file is sent
      sent(0);
      await upload(await base64(image), sent);
      await ready(state);
      return t("firmwareBack", { version: await describe() });
    } catch (error) {
      throw error.kind === "refused" ? new Trouble("firmwareRefused") : error;
    } finally {
      hold(false);
      progress.hidden = true;
      show(state);
    }
  }
  body.append(h("div.columns", card("installed", present), card("update", form("install", install, field("file", file), progress, state))));
  await describe();
}
