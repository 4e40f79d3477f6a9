#!/usr/bin/env python3
"""Runs the benchmark programs in the given directory.

Prints their times and each figure made of them beside its budget; ends non-zero when one is missed.
"""

import json
import pathlib
import statistics
import subprocess
import sys

from report import exit_status, report


def medians_of(program):
    """Processor time by name, in nanoseconds. Repetitions take turns, so that all meet the same machine."""
    options = ["--benchmark_format=json", "--benchmark_repetitions=9", "--benchmark_min_time=0.05",
               "--benchmark_enable_random_interleaving=true"]
    done = subprocess.run([program, *options], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    runs = {}
    for run in json.loads(done.stdout)["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        if run["run_type"] == "iteration":
            nanoseconds = run["cpu_time"] * {"ns": 1, "us": 1e3, "ms": 1e6}[run["time_unit"]]
            runs.setdefault(run["run_name"], []).append(nanoseconds)
    print(f"== {program.name}")
    medians = {name: statistics.median(times) for name, times in runs.items()}
    for name, nanoseconds in sorted(medians.items()):
        print(f"    {name:54} {nanoseconds / 1e3:8.2f} us")
    return medians


def report_xml(times):
    report("GetDeviceSettings: time over pugixml's", times["BM_DeviceSettings"] / times["BM_DeviceSettingsPugixml"], 0.6)
    report("Reply: growth from 1,000 to 10,000 elements",
           times["BM_BuildAndSerialize/10000"] / times["BM_BuildAndSerialize/1000"], 12)


def report_survey(times):
    report("GetWirelessNetworks: report of 120 networks", times["survey/120"] / 1e6, 1, "ms")
    report("GetWirelessNetworks: growth from 100 to 1,000 networks", times["survey/1000"] / times["survey/100"], 12)
    report("GetWirelessNetworks: growth from 1,000 to 10,000 networks",
           times["survey/10000"] / times["survey/1000"], 12)


def report_firmware(times):
    def faster(what, other, module, budget):
        report(what, times[other] / times[module], budget, at_least=True)

    for text in "flat", "columns":
        module = f"decode/{text} / module"
        faster(f"Base64, {text}: rate over glib's", f"decode/{text} / glib", module, 1.4)
        faster(f"Base64, {text}: rate over the byte loop's", f"decode/{text} / byte_loop", module, 2.5)
    faster("CRC-32: rate over the byte table's", "checksum/byte_table", "checksum/module", 5)
    faster("CRC-32: rate over zlib's", "checksum/zlib", "checksum/module", 1.0)


def main():
    programs = pathlib.Path(sys.argv[1])
    report_xml(medians_of(programs / "xml_bench"))
    report_survey(medians_of(programs / "survey_bench"))
    report_firmware(medians_of(programs / "firmware_bench"))
    return exit_status()


if __name__ == "__main__":
    sys.exit(main())
