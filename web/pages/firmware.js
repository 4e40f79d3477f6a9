// Firmware: what is installed, and another one from a file.
import { call, fields, restarted, Trouble, upload } from "./device.js";
import { t } from "./texts.js";
import { ask, card, facts, field, form, h, line, show } from "./ui.js";

// Whether it has the header of a boot-loader image; the device checks the rest.
const looksRight = async (file) =>
	file.size >= 64 && new DataView(await file.slice(0, 4).arrayBuffer()).getUint32() === 0x27051956;

const base64 = (file) => new Promise((resolve, reject) => {
	const reader = new FileReader();
	reader.onload = () => resolve(reader.result.split(",")[1]);
	reader.onerror = () => reject(new Trouble("notFirmware"));
	reader.readAsDataURL(file);
});

// What is sent now must not be left.
function hold(on) {
	document.querySelector("nav").inert = on;
	window.onbeforeunload = on && ((event) => event.preventDefault());
}

export default async function firmware(body) {
	const present = h("div");
	const file = h("input", { type: "file", required: true });
	const progress = h("progress", { hidden: true, ariaLabel: t("update") });
	const state = line();
	const say = (key, values) => show(state, t(key, values));

	async function describe() {
		const { ModelName, ModelRevision, FirmwareVersion, FirmwareDate } = fields(await call("GetFirmwareSettings"));
		const [date] = FirmwareDate.split("T");
		show(present, facts({ model: `${ModelName} ${ModelRevision}`, version: FirmwareVersion, date }));
		return FirmwareVersion;
	}
	function sent(share) {
		progress.value = share;
		say("sending", { percent: Math.floor(share * 100) });
		if (share < 1) return;
		progress.removeAttribute("value"); // the device writes for minutes, and tells nothing
		say("writing");
	}
	async function install() {
		const [image] = file.files;
		if (!(await looksRight(image))) throw new Trouble("notFirmware");
		if (!(await ask("install"))) return;
		hold(true);
		progress.hidden = false;
		try {
			await call("IsDeviceReady"); // the sign-in must hold before all of the file is sent
			sent(0);
			await upload(await base64(image), sent);
			await restarted(say);
			return t("backWith", { version: await describe() });
		} catch (error) {
			throw error.kind === "refused" ? new Trouble("badImage") : error;
		} finally {
			hold(false);
			progress.hidden = true;
			show(state);
		}
	}
	body.append(h("div.columns", card("installed", present), card("update", form("install", install, field("file", file), progress, state))));
	await describe();
}
