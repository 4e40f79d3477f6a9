#include "device.hpp"

#include <algorithm>
#include <array>
#include <cctype>

#include "failure.hpp"
#include "terminal.hpp"
#include "text.hpp"

namespace hnap {
namespace {

struct Word {
  const char* action;  // "": any
  const char* said;
  const char* means;
};

constexpr std::array kWords = {
    Word{"IsDeviceReady", "ERROR", "it is still starting"},
    Word{"SetDeviceSettings", "ERROR", "it wants a name of 1 to 15 bytes and a password of 1 to 64"},
    Word{"SetDeviceSettings2", "ERROR", "it does not support this locale"},
    Word{"GetWirelessNetworks", "ERROR", "its radio gave no survey"},
    Word{"FirmwareUpload", "ERROR", "no image for this device, or its flash could not be written"},
    Word{"", "ERROR_ILLEGAL_KEY_VALUE", "the key does not fit this type of security"},
    Word{"", "ERROR_ENCRYPTION_NOT_SUPPORTED", "this encryption does not go with this type of security"},
    Word{"", "ERROR_TYPE_NOT_SUPPORTED", "it does not know this type of security"},
    Word{"", "ERROR_NETWORK_TYPE_NOT_SUPPORTED", "it joins infrastructure networks only"},
    Word{"", "ERROR_USERNAME_NOT_SUPPORTED", "the user is not the one who is logged in"},
    Word{"", "ERROR_TIMEZONE_NOT_SUPPORTED", "it keeps UTC without daylight saving"},
    Word{"", "ERROR_BUFFER_TOO_LARGE", "more bytes than it can send"},
};

std::string words_of(const std::string& action, const std::string& result) {
  for (const Word& word : kWords)
    if (result == word.said && (!*word.action || action == word.action))
      return result + " (" + word.means + ")";
  return visible(result);
}

struct StringWriter : pugi::xml_writer {
  std::string text;
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
};

void check_text(const std::string& name, const std::string& text) {
  if (const std::string flaw = xml_text_flaw(text); !flaw.empty())
    throw Failure(Exit::usage, name + ": XML cannot carry this value (" + flaw + ")");
}

void check_name(const std::string& name) {
  const bool fits =
      !name.empty() && (std::isalpha(static_cast<unsigned char>(name[0])) || name[0] == '_') &&
      name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-") ==
          std::string::npos;
  if (!fits) throw Failure(Exit::usage, "\"" + visible(name) + "\" is no name of an action or argument");
}

std::string title_of_page(const std::string& page) {
  const std::size_t start = page.find("<title>");
  if (start == std::string::npos) return {};
  const std::size_t end = std::min(page.find('<', start + 7), start + 200);
  return visible(without_blanks_around(page.substr(start + 7, end - start - 7)));
}

}  // namespace

std::string_view local_name(pugi::xml_node node) {
  const std::string_view name = node.name();
  const std::size_t colon = name.find(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

pugi::xml_node child(pugi::xml_node node, std::string_view name) {
  for (const pugi::xml_node candidate : node.children())
    if (local_name(candidate) == name) return candidate;
  return {};
}

std::string text_of(pugi::xml_node node) {
  std::string text;
  for (const pugi::xml_node piece : node.children())
    if (piece.type() == pugi::node_pcdata || piece.type() == pugi::node_cdata) text += piece.value();
  return text;
}

std::string text_of(pugi::xml_node node, std::string_view name) {
  return text_of(child(node, name));
}

std::string envelope(const std::string& action, const Arguments& arguments, const CallOptions& options) {
  check_name(action);
  pugi::xml_document document;
  pugi::xml_node root = document.append_child("soap:Envelope");
  root.append_attribute("xmlns:soap") = "http://schemas.xmlsoap.org/soap/envelope/";
  pugi::xml_node element = root.append_child("soap:Body").append_child(action.c_str());
  element.append_attribute("xmlns") = options.name_space.c_str();
  for (const auto& [name, value] : arguments) {
    check_name(name);
    check_text(name, value);
    element.append_child(name.c_str()).text().set(value.c_str());
  }
  if (!options.arguments_xml.empty())
    element.append_buffer(options.arguments_xml.data(), options.arguments_xml.size(),
                          pugi::parse_default | pugi::parse_ws_pcdata_single, pugi::encoding_utf8);
  StringWriter writer;
  writer.text = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
  document.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
  return std::move(writer.text);
}

std::string parse(Reply& reply) {
  // Devices name no character set, and what a declaration says is not to be trusted.
  const pugi::xml_parse_result parsed =
      reply.document.load_buffer(reply.http.body.data(), reply.http.body.size(),
                                 pugi::parse_default | pugi::parse_ws_pcdata_single, pugi::encoding_utf8);
  if (!parsed) return std::string("not well-formed: ") + parsed.description();
  const pugi::xml_node root = reply.document.document_element();
  const pugi::xml_node body = child(root, "Body");
  if (local_name(root) != "Envelope" || !body) return "no SOAP envelope";
  reply.response = body.find_child([](pugi::xml_node node) { return node.type() == pugi::node_element; });
  reply.result = text_of(reply.response, reply.action + "Result");
  if (reply.result.empty()) reply.result = text_of(body, "Result");  // where a device is out of memory
  if (local_name(reply.response) == "Fault") return {};
  if (reply.result.empty()) return "no result";
  return {};
}

void judge(const Reply& reply, const std::string& label, const std::string& flaw) {
  const long status = reply.http.status;
  if (status == 401) throw Failure(Exit::credentials, label + ": user or password refused");
  const std::string action = visible(reply.action) + ": ";
  if (local_name(reply.response) == "Fault")
    throw Failure(Exit::refused, action + "the device does not serve it (" +
                                     visible(without_blanks_around(text_of(reply.response, "faultstring"))) +
                                     ")");
  if (status != 200) {
    const std::string title = title_of_page(reply.http.body);
    if (status == 500)
      throw Failure(Exit::refused, action + "the device said: " + (title.empty() ? "500" : title));
    throw Failure(Exit::unreachable, label + ": HTTP status " + std::to_string(status) +
                                         ", as from a server that does not speak HNAP here");
  }
  if (!flaw.empty()) throw Failure(Exit::unreachable, label + ": unreadable answer, " + flaw);
  if (reply.result != "OK" && reply.result != "REBOOT")
    throw Failure(Exit::refused, action + "the device said " + words_of(reply.action, reply.result));
}

const std::string& Device::password() {
  if (!settings_.password)
    settings_.password =
        ask("Password for " + visible(settings_.user) + " at " + label() + ": ", true,
            label() + ": no password; see --password-file, HNAP_PASSWORD, or ~/.config/hnap/config");
  return *settings_.password;
}

Reply Device::fetch(const std::string& action, const std::string& body, const CallOptions& options) {
  HttpRequest request;
  request.url = settings_.url;
  request.timeout = options.timeout.count() ? options.timeout : settings_.timeout;
  request.verbose = verbose_;
  request.on_progress = options.on_progress;
  if (!action.empty()) {
    request.soap_action = options.name_space + action;
    request.body = body;
  }
  if (settings_.password) {  // for a GET too: a server in front of the device may want them
    request.user = settings_.user;
    request.password = *settings_.password;
  }
  Reply reply;
  reply.action = action.empty() ? "GetDeviceSettings" : action;
  reply.http = exchange(request, label());
  return reply;
}

Reply Device::call_with_body(const std::string& action, const std::string& body, const CallOptions& options) {
  Reply reply = fetch(action, body, options);
  if (reply.http.status == 401 && !settings_.password) {
    password();
    reply = fetch(action, body, options);
  }
  const std::string flaw = parse(reply);
  judge(reply, label(), flaw);
  return reply;
}

Reply Device::call(const std::string& action, const Arguments& arguments, const CallOptions& options) {
  return call_with_body(action, envelope(action, arguments, options), options);
}

Reply Device::identity(std::chrono::milliseconds timeout) {
  CallOptions options;
  options.timeout = timeout;
  return call_with_body("", "", options);
}

}  // namespace hnap
