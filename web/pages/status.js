// Status: the upstream link and its signal, the clients, and what the extender is.
import { all, call, fields, pause } from "./device.js";
import { t } from "./texts.js";
import { bars, bdi, card, explain, facts, h, line, show, svg } from "./ui.js";

const REFRESH = 5000; // ms
const CLIENTS_EVERY = 6; // rounds: the device spends two seconds on them and serves nobody meanwhile
const KEPT = 300000; // ms of the chart

let samples = []; // [time, signal], while the tab is open: the device keeps no history
let network;
let since; // when the link to that network was first seen

function chart() {
	const now = Date.now();
	samples = samples.filter(([time]) => now - time < KEPT);
	const path = samples.map(([time, signal], i) => {
		const gap = time - samples[i - 1]?.[0] < 3 * REFRESH ? "L" : "M";
		return `${gap}${300 - ((now - time) / KEPT) * 300} ${101 - signal}`;
	});
	const signals = samples.map(([, signal]) => signal);
	return h("figure",
		svg("svg", { viewBox: "0 0 300 102", preserveAspectRatio: "none", "aria-hidden": true },
			svg("path", { class: "grid", d: "M0 1H300M0 51H300M0 101H300" }), svg("path", { d: path.join("") })),
		h("small", t("chart", { low: Math.min(...signals), high: Math.max(...signals) })));
}

function link({ SSID, Frequency, Channel, ChannelWidth, Mode, SignalStrength, LinkSpeedIn, LinkSpeedOut }) {
	const now = Date.now();
	if (SSID !== network) since = now;
	network = SSID;
	samples.push([now, SignalStrength]);
	if (Channel === "0") return [t("down"), h("a", { href: "#setup" }, t("setup"))];
	const minutes = Math.floor((now - since) / 60000);
	return [
		h("div.signal", bars(SignalStrength), h("b", SignalStrength), "%"),
		chart(),
		facts({
			network: SSID,
			band: Frequency === "5" ? "5 GHz" : "2.4 GHz",
			channel: `${Channel} (${ChannelWidth} MHz)`,
			standard: Mode,
			rates: `${LinkSpeedIn / 1000}, ${LinkSpeedOut / 1000} Mbit/s`,
			uptime: `${Math.floor(minutes / 60)} h ${minutes % 60} min`,
		}),
	];
}

function client({ DeviceName, MacAddress, PortName, Wireless, Active, ConnectTime }) {
	const port = Wireless === "true" ? PortName.replace(/WLAN|unknow/, t("wireless")) : t("wired");
	return h("li", bdi(DeviceName.trim() || t("unnamed")), " ", Active === "true" ? "" : h("i", t("asleep")),
		h("small", `${port} · ${MacAddress} · ${ConnectTime.replace("T", " ")}`));
}

const visible = () => new Promise((seen) => {
	if (!document.hidden) seen();
	document.addEventListener("visibilitychange", seen, { once: true });
});

export default async function status(body, { ModelName, FirmwareVersion, SerialNumber }) {
	const trouble = line();
	trouble.className = "bad";
	const [upstream, clients] = [h("div"), h("div")];
	body.append(trouble, h("div.columns", card("link", upstream), card("clients", clients),
		card("extender", facts({ model: ModelName, version: FirmwareVersion, serial: SerialNumber }))));

	for (let round = 0; ; ) {
		try {
			show(upstream, ...link(fields(await call("GetWirelessClientConnectionInfo"))));
			if (round % CLIENTS_EVERY === 0) {
				const list = all(await call("GetConnectedDevices"), "ConnectedClient").map(fields);
				// For none the device sends one that is all empty.
				show(clients, list[0].MacAddress ? h("ul", list.map(client)) : t("noClients"));
			}
			show(trouble);
			++round;
		} catch (error) {
			show(trouble, explain(error), t("stale"));
		}
		body.className = trouble.textContent && "stale";
		await pause(REFRESH);
		await visible();
	}
}
