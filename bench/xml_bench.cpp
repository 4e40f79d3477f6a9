// Building and writing a reply: how it grows, and against a general-purpose XML library that builds and
// writes the same document in the same run.
#include <benchmark/benchmark.h>

#include <cstring>
#include <pugixml.hpp>
#include <string>

#include "xml/envelope.hpp"
#include "xml/namespaces.hpp"
#include "xml/reply.hpp"

namespace {

constexpr const char* kActions[] = {
    HNAP1_NAMESPACE "GetDeviceSettings2",
    HNAP1_NAMESPACE "SetDeviceSettings2",
    HNAP1_NAMESPACE "GetDeviceSettings",
    HNAP1_NAMESPACE "SetDeviceSettings",
    HNAP1_NAMESPACE "IsDeviceReady",
    HNAP1_NAMESPACE "Reboot",
    HNAP1_NAMESPACE "RestoreFactoryDefaults",
    HNAP1_NAMESPACE "FirmwareUpload",
    HNAP1_NAMESPACE "GetFirmwareSettings",
    HNAP1_NAMESPACE "GetWirelessClientCapabilities",
    HNAP1_NAMESPACE "GetWirelessClientConnectionInfo2",
    HNAP1_NAMESPACE "GetWirelessClientConnectionInfo",
    HNAP1_NAMESPACE "GetLastSetWirelessClientSettingsResult",
    HNAP1_NAMESPACE "GetWirelessClientSettings",
    HNAP1_NAMESPACE "SetWirelessClientSettings",
    HNAP1_NAMESPACE "GetWirelessNetworks",
    HNAP1_NAMESPACE "GetConnectedDevices",
    HNAP1_NAMESPACE "DownloadSpeedTest",
};

struct Leaf {
  const char* name;
  const char* text;
};
constexpr Leaf kHead[] = {
    {"GetDeviceSettingsResult", "OK"},
    {"Type", "Extender"},
    {"DeviceName", "Extender"},
    {"VendorName", "Corvane LLC"},
    {"ModelDescription", "Switchable Wireless-N Signal Extender"},
    {"ModelName", "NX220"},
    {"FirmwareVersion", "3.1.07, build 2"},
    {"PresentationURL", "/wireless/wireless_basic.shtml"},
};
constexpr Leaf kTasks[] = {
    {"Status Page", "/status/device_status.shtml"},
    {"Basic Wireless Settings", "/wireless/wireless_basic.shtml"},
    {"Extender", SUPPORT_URL},
};

kd::ReplyText device_settings() {
  kd::ModuleState module;
  kd::hnap_request request{module};
  kd::Reply reply{request, "GetDeviceSettings", kd::Namespace::core};
  for (const Leaf& leaf : kHead) reply.leaf(leaf.name, leaf.text);
  reply.open("SOAPActions");
  for (const char* action : kActions) reply.leaf("string", action);
  reply.close();
  reply.leaf("SubDeviceURLs", "");
  reply.open("Tasks");
  for (const Leaf& task : kTasks) {
    reply.open("TaskExtension");
    reply.leaf("Name", task.name);
    reply.leaf("URL", task.text);
    reply.leaf("Type", "Browser");
    reply.close();
  }
  return reply.finish();
}

struct StringWriter : pugi::xml_writer {
  std::string text;
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
};

std::string device_settings_with_pugixml() {
  pugi::xml_document document;
  auto envelope = document.append_child("soap:Envelope");
  envelope.append_attribute("xmlns:xsi") = XSI_NAMESPACE;
  envelope.append_attribute("xmlns:xsd") = XSD_NAMESPACE;
  envelope.append_attribute("xmlns:soap") = SOAP_ENV_NAMESPACE;
  auto response = envelope.append_child("soap:Body").append_child("GetDeviceSettingsResponse");
  response.append_attribute("xmlns") = HNAP1_NAMESPACE;
  const auto leaf = [](pugi::xml_node parent, const char* name, const char* text) {
    parent.append_child(name).append_child(pugi::node_pcdata).set_value(text);
  };
  for (const Leaf& item : kHead) leaf(response, item.name, item.text);
  auto actions = response.append_child("SOAPActions");
  for (const char* action : kActions) leaf(actions, "string", action);
  response.append_child("SubDeviceURLs");
  auto tasks = response.append_child("Tasks");
  for (const Leaf& task : kTasks) {
    auto extension = tasks.append_child("TaskExtension");
    leaf(extension, "Name", task.name);
    leaf(extension, "URL", task.text);
    leaf(extension, "Type", "Browser");
  }
  StringWriter writer;
  writer.text.reserve(8192);
  document.save(writer, "", pugi::format_raw);
  return std::move(writer.text);
}

void BM_DeviceSettings(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(device_settings().view().data());
}
BENCHMARK(BM_DeviceSettings);

void BM_DeviceSettingsPugixml(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(device_settings_with_pugixml().data());
}
BENCHMARK(BM_DeviceSettingsPugixml);

void BM_BuildAndSerialize(benchmark::State& state) {
  kd::ModuleState module;
  for (auto _ : state) {
    kd::hnap_request request{module};
    kd::Reply reply{request, "GetWirelessNetworks", kd::Namespace::core};
    for (long i = 0; i < state.range(0); ++i) reply.leaf("SSID", "a network of some name");
    benchmark::DoNotOptimize(reply.finish().view().data());
  }
}
BENCHMARK(BM_BuildAndSerialize)->Arg(1000)->Arg(10000)->Arg(100000);

}  // namespace
