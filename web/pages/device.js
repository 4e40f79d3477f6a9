// The device's client: its SOAP actions over HTTP, one after the other, and nothing else.
const PATH = "/HNAP1/";
const NAMESPACE = "http://purenetworks.com/HNAP1/";

export const on = {}; // whoever shows the pages sets waiting(whether) and signedOut(why)
export let login; // here only: it goes with the tab
let page = new AbortController();

// What went wrong: "unreachable", "busy", "sign-in", "refused" (code: the device's own), "strange" (HTTP's), or a text's key.
export class Trouble extends Error {
	constructor(kind, code = "") {
		super(kind);
		Object.assign(this, { kind, code });
	}
}

export function signIn(user, password) {
	const bytes = new TextEncoder().encode(`${user}:${password}`);
	login = { user, password, Authorization: `Basic ${btoa(String.fromCharCode(...bytes))}` };
}

export function signOut(why) {
	login = undefined;
	on.signedOut(why);
}

// Ends, with an AbortError, whatever the page that is left waits for.
export function leavePage() {
	page.abort();
	page = new AbortController();
}

export function pause(ms) {
	const { signal } = page;
	return new Promise((resolve, reject) => {
		setTimeout(resolve, ms);
		signal.addEventListener("abort", () => reject(signal.reason));
	});
}

const post = (action, content) => ({
	method: "POST",
	headers: { SOAPAction: `"${NAMESPACE}${action}"`, Authorization: login?.Authorization },
	body:
		'<soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"><soap:Body>' +
		`<${action} xmlns="${NAMESPACE}">${content}</${action}></soap:Body></soap:Envelope>`,
});

// Without the browser's own credentials it neither asks for a password itself nor keeps one.
const send = (request) => (signal) => fetch(PATH, { ...request, signal, cache: "no-store", credentials: "omit" });

// One exchange; `use` makes its result. The device serves one at a time: the next waits here.
let last = Promise.resolve();
function exchange(sending, use, timeout = 20000) {
	const { signal } = page;
	const mine = last.then(async () => {
		const patience = timeout > 20000 ? timeout : 6000; // what takes long by nature has a word of its own
		const slow = setTimeout(on.waiting, patience, true);
		try {
			const response = await sending(AbortSignal.any([signal, AbortSignal.timeout(timeout)]));
			if (response.status === 401) {
				signOut("signedOut");
				signal.throwIfAborted(); // the page was left for the sign-in
				throw new Trouble("sign-in");
			}
			if (response.status !== 200) throw new Trouble("strange", response.status);
			return use(await response.text()); // in UTF-8: replies name no character set
		} catch (error) {
			if (error.name === "TimeoutError") throw new Trouble("busy");
			throw error instanceof TypeError ? new Trouble("unreachable") : error; // that is how fetch says it
		} finally {
			clearTimeout(slow);
			on.waiting(false);
		}
	});
	last = mine.catch(() => {});
	return mine;
}

export const all = (element, name) => [...element.getElementsByTagName(name)];
// The texts of an element's children by their names.
export const fields = (element) => Object.fromEntries([...element.children].map((it) => [it.localName, it.textContent]));

// A name from the air may hold what no XML parser lets pass: it becomes U+FFFD, like bytes that are not UTF-8.
const NOT_XML = /[^\t\n\r -\ud7ff\ue000-\ufffd\u{10000}-\u{10ffff}]/gu;

const reader = (action) => (reply) => {
	const document = new DOMParser().parseFromString(reply.replace(NOT_XML, "\ufffd"), "text/xml");
	const [response] = all(document, `${action}Response`);
	if (!response) throw new Trouble("strange", 200);
	const result = fields(response)[`${action}Result`];
	if (result !== "OK" && result !== "REBOOT") throw new Trouble("refused", result);
	return response;
};

// Runs an action with arguments by name. Gives the response element; throws a Trouble. timeout in ms.
export function call(action, values = {}, timeout, use = reader(action)) {
	const escape = (text) => String(text).replace(/[&<>]/g, (c) => `&#${c.charCodeAt()};`);
	const content = Object.keys(values).map((name) => `<${name}>${escape(values[name])}</${name}>`);
	return exchange(send(post(action, content.join(""))), use, timeout);
}

// What anybody may know: a plain GET is answered with GetDeviceSettings.
export const greet = (timeout) => exchange(send(), reader("GetDeviceSettings"), timeout);

// Downloads so many bytes of filler.
export function download(Bytes) {
	const action = "DownloadSpeedTest";
	return call(action, { Bytes, BufferSize: 65536 }, 60000, (reply) => reply.length > Bytes || reader(action)(reply));
}

// Sends a firmware image, in base64; `sent` gets the share that has left, which fetch would not tell.
export function upload(image, sent) {
	const { method, headers, body } = post("FirmwareUpload", `<Base64Image>${image}</Base64Image>`);
	const sending = () => new Promise((resolve, reject) => {
		const request = new XMLHttpRequest();
		request.open(method, PATH);
		for (const name in headers) request.setRequestHeader(name, headers[name]);
		request.upload.onprogress = ({ loaded, total }) => sent(loaded / total);
		request.onload = () => resolve({ status: request.status, text: () => request.response });
		request.onerror = () => reject(new Trouble("unreachable"));
		request.send(body);
	});
	return exchange(sending, reader("FirmwareUpload"), 3600000);
}

// Resolves when the device has gone down to restart, and `asked` succeeds again; `say` gets a text's key.
export async function restarted(say, asked = (timeout) => call("IsDeviceReady", {}, timeout)) {
	const begun = Date.now();
	async function succeeds() {
		try {
			return await asked(5000);
		} catch (error) {
			if (!error.kind) throw error;
		} finally {
			await pause(200); // a quick device is soon back
		}
	}
	say("goes");
	while ((await succeeds()) && Date.now() - begun < 15000); // so long it may still answer
	say("comes");
	while (!(await succeeds()));
}
