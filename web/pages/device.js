// The device's client: its SOAP actions over HTTP, one after the other, and nothing else.
const PATH = "/HNAP1/";
const NAMESPACE = "http://purenetworks.com/HNAP1/";

export const events = new EventTarget(); // "waiting" (detail: whether), "signed-out" (detail: the text that says why)
let login; // here only: it goes with the tab
let page = new AbortController();

// What went wrong. kind: "unreachable", "busy" (no answer in time), "sign-in", "refused" (code: the device's own), "strange"
// (code: the HTTP status), or another text's key.
export class Trouble extends Error {
  constructor(kind, code = "") {
    super(kind + code);
    Object.assign(this, { kind, code });
  }
}

const tell = (type, detail) => events.dispatchEvent(new CustomEvent(type, { detail }));

export const user = () => login.user;
export const password = () => login.password;

export function setLogin(user, password) {
  const bytes = new TextEncoder().encode(`${user}:${password}`);
  login = { user, password, Authorization: `Basic ${btoa(String.fromCharCode(...bytes))}` };
}

export function signOut(why) {
  login = undefined;
  tell("signed-out", why);
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

const escape = (text) => String(text).replace(/[&<>\t\n\r]/g, (c) => `&#${c.charCodeAt()};`);

const post = (action, content) => ({
  method: "POST",
  headers: { SOAPAction: `"${NAMESPACE}${action}"`, Authorization: login?.Authorization },
  body:
    '<?xml version="1.0"?><soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"><soap:Body>' +
    `<${action} xmlns="${NAMESPACE}">${content}</${action}></soap:Body></soap:Envelope>`,
});

// Without the browser's own credentials it neither asks for a password itself nor keeps one.
const send = (request) => (signal) => fetch(PATH, { ...request, signal, cache: "no-store", credentials: "omit" });

// One exchange; `use` makes its result. The device serves one at a time: whoever comes later waits here.
let last = Promise.resolve();
function exchange(sending, use, { timeout = 20000, patience = 4000 } = {}) {
  const { signal } = page;
  const mine = last.then(async () => {
    const slow = setTimeout(tell, patience, "waiting", true);
    try {
      const response = await sending(AbortSignal.any([signal, AbortSignal.timeout(timeout)]));
      if (response.status === 401) {
        signOut("signedOut");
        signal.throwIfAborted(); // the page was left for the sign-in
        throw new Trouble("sign-in");
      }
      if (response.status !== 200) throw new Trouble("strange", response.status);
      return await use(await response.text()); // replies name no character set; this takes UTF-8
    } catch (error) {
      if (error.name === "TimeoutError") throw new Trouble("busy");
      throw error instanceof TypeError ? new Trouble("unreachable") : error; // that is how fetch says it
    } finally {
      clearTimeout(slow);
      tell("waiting", false);
    }
  });
  last = mine.catch(() => {});
  return mine;
}

// The texts of an element's children by their names.
export const fields = (element) => Object.fromEntries([...element.children].map((child) => [child.localName, child.textContent]));
export const all = (element, name) => [...element.getElementsByTagName(name)];

// A name from the air may hold what no XML parser lets pass: it becomes U+FFFD, as bytes that are not UTF-8 have.
const NOT_XML = /[^\t\n\r -\ud7ff\ue000-\ufffd\u{10000}-\u{10ffff}]/gu;

// Makes the response element of a reply.
const reader = (action) => (reply) => {
  const [response] = all(new DOMParser().parseFromString(reply.replace(NOT_XML, "\ufffd"), "text/xml"), `${action}Response`);
  if (!response) throw new Trouble("strange", 200);
  const result = fields(response)[`${action}Result`];
  if (result !== "OK" && result !== "REBOOT") throw new Trouble("refused", result);
  return response;
};

// Runs an action with arguments by name. options: timeout, and patience until "waiting" is told, in ms.
// Gives the response element; throws a Trouble.
export function call(action, values = {}, options) {
  const content = Object.entries(values).map(([name, value]) => `<${name}>${escape(value)}</${name}>`);
  return exchange(send(post(action, content.join(""))), reader(action), options);
}

// What anybody may know: a plain GET is answered with GetDeviceSettings.
export const greet = (options) => exchange(send(), reader("GetDeviceSettings"), options);

// Downloads so many bytes of filler, which are not looked at.
export function download(bytes) {
  const action = "DownloadSpeedTest";
  const request = post(action, `<Bytes>${bytes}</Bytes><BufferSize>65536</BufferSize>`);
  return exchange(send(request), (reply) => reply.length > bytes || reader(action)(reply), { timeout: 60000 });
}

// Sends a firmware image, in base64; `sent` gets the share that has left, which fetch would not tell.
export function upload(image, sent) {
  const { method, headers, body } = post("FirmwareUpload", `<Base64Image>${image}</Base64Image>`);
  const sending = () => new Promise((resolve, reject) => {
    const request = new XMLHttpRequest();
    request.open(method, PATH);
    Object.entries(headers).forEach((header) => request.setRequestHeader(...header));
    request.upload.onprogress = ({ loaded, total }) => sent(loaded / total);
    request.onload = () => resolve({ status: request.status, text: () => request.response });
    request.onerror = () => reject(new Trouble("unreachable"));
    request.send(body);
  });
  return exchange(sending, reader("FirmwareUpload"), { timeout: 3600000, patience: 3600000 });
}
