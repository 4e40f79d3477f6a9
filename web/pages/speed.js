// Speed test: the download from the extender to this browser, with a gauge.
import { download } from "./device.js";
import { t } from "./texts.js";
import { form, h, line, svg } from "./ui.js";

const LONGEST = 8000; // ms
const MOST = 40e6; // bytes
const LARGEST = 2e6; // bytes of a request; the device refuses from 2.1 million on
const MARKS = [0, 1, 10, 100, 1000]; // Mbit/s, on a logarithmic scale
const ARC = "M20 110A90 90 0 0 1 200 110";

const share = (rate) => Math.min(1, Math.log10(1 + rate) / 3);

export default function speed(body) {
	const value = svg("path", { d: ARC, pathLength: 100 });
	const mark = (rate) => {
		const angle = Math.PI * (1 - share(rate));
		return svg("text", { x: 110 + 70 * Math.cos(angle), y: 113 - 70 * Math.sin(angle) }, rate);
	};
	const figure = h("b");
	const gauge = h("div.gauge", { role: "meter", ariaLabel: t("speed"), ariaValueMin: 0, ariaValueMax: 1000 },
		svg("svg", { viewBox: "0 0 220 120", "aria-hidden": true }, svg("path", { class: "grid", d: ARC }), value, ...MARKS.map(mark)),
		figure, h("small", "Mbit/s"));
	const state = line();

	function turn(rate) {
		value.setAttribute("stroke-dasharray", `${100 * share(rate)} 200`);
		figure.textContent = rate.toFixed(rate < 100 ? 1 : 0);
		gauge.ariaValueNow = Math.min(rate, 1000);
		gauge.ariaValueText = `${figure.textContent} Mbit/s`;
	}
	async function measure() {
		state.textContent = t("measuring");
		let [bytes, time, block] = [0, 0, 1e5];
		while (time < LONGEST && bytes < MOST) {
			const begun = performance.now();
			await download(block);
			const took = performance.now() - begun;
			bytes += block;
			time += took;
			turn(bytes / time / 125);
			if (took < 400) block = Math.min(2 * block, LARGEST); // often enough to see, seldom enough to measure
		}
		state.textContent = t("average", { rate: figure.textContent, size: bytes / 1e6, seconds: (time / 1000).toFixed(1) });
	}
	turn(0);
	body.append(h("section.narrow", h("small", t("speedNote")), gauge, state, form("start", measure)));
}
