// Status: the upstream link and its signal, the clients, and what the extender is.
import { all, call, fields, pause } from "./device.js";
import { t } from "./texts.js";
import { bars, card, explain, facts, h, line, show, svg } from "./ui.js";

const REFRESH = 5000; // ms
// The device takes two seconds for its list of clients and serves nobody meanwhile: it is asked in every sixth round.
const CLIENTS_EVERY = 6;
const KEPT = 300000; // ms of the chart

// Kept while the tab is open: the device keeps no history.
let samples = []; // {time, signal}, signal 0 while the link is down
let network;
let since; // when the link to that network was first seen

function keep({ SSID, SignalStrength }) {
  const time = Date.now();
  if (SSID !== network) since = time;
  network = SSID;
  samples = [...samples.filter((sample) => time - sample.time < KEPT), { time, signal: +SignalStrength }];
}

function chart() {
  const { time: now } = samples.at(-1);
  let before = 0;
  const path = samples.map(({ time, signal }) => {
    const seen = time - before < 3 * REFRESH; // else a gap
    before = time;
    return `${seen ? "L" : "M"}${300 - ((now - time) / KEPT) * 300} ${101 - signal}`;
  });
  const signals = samples.map(({ signal }) => signal);
  const label = t("chart", { low: Math.min(...signals), high: Math.max(...signals) });
  return h("div.chart",
    svg("svg", { viewBox: "0 0 300 102", preserveAspectRatio: "none", role: "img", "aria-label": label },
      svg("path", { class: "grid", d: "M0 1H300M0 51H300M0 101H300" }), svg("path", { d: path.join("") })),
    h("p.row", h("small", t("minutesAgo")), h("small", t("now"))));
}

const rate = (kbps) => `${kbps / 1000} Mbit/s`;

function link({ SSID, Frequency, Channel, ChannelWidth, Mode, SignalStrength, LinkSpeedIn, LinkSpeedOut }) {
  if (Channel === "0") return [h("p", t("down")), h("a", { href: "#setup" }, t("setup"))];
  const minutes = Math.floor((Date.now() - since) / 60000);
  return [
    h("div.signal", bars(SignalStrength), h("b.figure", SignalStrength), `% ${t(SignalStrength > 66 ? "strong" : SignalStrength > 33 ? "fair" : "weak")}`),
    chart(),
    facts({
      network: SSID,
      band: Frequency === "5" ? "5 GHz" : "2.4 GHz",
      channel: `${Channel} (${ChannelWidth} MHz)`,
      mode: Mode,
      rateIn: rate(LinkSpeedIn),
      rateOut: rate(LinkSpeedOut),
      uptime: `${Math.floor(minutes / 60)} h ${minutes % 60} min`,
    }),
    h("small", t("uptimeNote")),
  ];
}

function client({ DeviceName, MacAddress, PortName, Wireless, Active, ConnectTime }) {
  const port = Wireless === "true" ? PortName.replace(/WLAN|unknow/, t("wireless")) : t("wired");
  return h("li", bdi(DeviceName.trim() || t("unnamed")), Active === "true" ? "" : h("b.badge", t("asleep")),
    h("small", `${port} · ${MacAddress} · ${ConnectTime.replace("T", " ")}`));
}

const visible = () => new Promise((seen) => {
  if (!document.hidden) seen();
  document.addEventListener("visibilitychange", seen, { once: true });
});

export default async function status(body, { ModelName, FirmwareVersion, SerialNumber }) {
  const trouble = line();
  const [linkPart, clientsPart] = [h("div"), h("div")];
  const columns = h("div.columns", card("link", linkPart), card("clients", clientsPart),
    card("extender", facts({ model: ModelName, version: FirmwareVersion, serial: SerialNumber })));
  body.append(trouble, columns);

  for (let round = 0; ; ++round) {
    let word = "";
    try {
      const info = fields(await call("GetWirelessClientConnectionInfo"));
      keep(info);
      show(linkPart, ...link(info));
      if (round % CLIENTS_EVERY === 0) {
        const list = all(await call("GetConnectedDevices"), "ConnectedClient").map(fields);
        const real = list.filter(({ MacAddress }) => MacAddress); // for none the device sends one that is all empty
        show(clientsPart, real.length ? h("ul", real.map(client)) : t("noClients"));
      }
    } catch (error) {
      word = `${explain(error)} ${t("stale")}`;
    }
    show(trouble, word);
    columns.classList.toggle("stale", word);
    await pause(REFRESH);
    await visible();
  }
}
