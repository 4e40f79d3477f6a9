// Waiting for the device while it restarts.
import { call, greet, pause } from "./device.js";
import { t } from "./texts.js";
import { explain, hold } from "./ui.js";

const ASK_EVERY = 250; // ms; a quick device is soon back
const LONGEST_GOODBYE = 15000; // ms that a device which has promised to restart may still answer

async function succeeds(request) {
  await pause(ASK_EVERY);
  try {
    return await request({ timeout: 5000, patience: 5000 });
  } catch (error) {
    explain(error);
  }
}

// Resolves when the device has gone down and is up again. It is asked what anybody may ask: after a factory reset it takes
// another password.
export async function restarted(state) {
  hold(true);
  try {
    const begun = Date.now();
    state.textContent = t("waitDown");
    while ((await succeeds(greet)) && Date.now() - begun < LONGEST_GOODBYE);
    state.textContent = t("waitUp");
    while (!(await succeeds(greet)));
  } finally {
    hold(false);
  }
}

// The same, until the device says that it is ready.
export async function ready(state) {
  await restarted(state);
  while (!(await succeeds((options) => call("IsDeviceReady", {}, options))));
}
