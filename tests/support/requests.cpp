#include "support/requests.hpp"

#include <algorithm>

namespace kd::test {

std::string elements(const Arguments& arguments) {
  std::string all;
  for (const auto& [name, value] : arguments) all += "<" + name + ">" + value + "</" + name + ">";
  return all;
}

std::string envelope(std::string_view action, std::string_view arguments, std::string_view action_namespace) {
  const std::string name{action};
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n"
         "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\"><soap:Body><" +
         name + " xmlns=\"" + std::string{action_namespace} + "\">" + std::string{arguments} + "</" + name +
         "></soap:Body></soap:Envelope>\n";
}

Headers soap_headers(std::string_view action, std::string_view action_namespace) {
  return {{"SOAPAction", "\"" + std::string{action_namespace} + std::string{action} + "\""},
          {"Authorization", "Basic " + base64("admin:password")}};
}

std::string base64(std::string_view text) {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string encoded;
  for (std::size_t i = 0; i < text.size(); i += 3) {
    unsigned bits = 0;
    const std::size_t count = std::min<std::size_t>(3, text.size() - i);
    for (std::size_t k = 0; k < 3; ++k) {
      bits = bits << 8 | (k < count ? static_cast<unsigned char>(text[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      encoded += k <= count ? kAlphabet[bits >> (18 - 6 * k) & 63] : '=';
    }
  }
  return encoded;
}

std::optional<std::string> reply_value(std::string_view reply, std::string_view element) {
  const std::string start = "<" + std::string{element} + ">", end = "</" + std::string{element} + ">";
  const std::size_t at = reply.find(start);
  const std::size_t until = reply.find(end, at);
  if (at == std::string_view::npos || until == std::string_view::npos) return std::nullopt;
  return std::string{reply.substr(at + start.size(), until - at - start.size())};
}

#define DECLARATION "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n"
#define ENVELOPE_START                                                      \
  "<soap:Envelope xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" " \
  "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "                         \
  "xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\">"
#define ENVELOPE_END "Response>\n</soap:Body>\n</soap:Envelope>\n"

const char* const kOutOfMemory = DECLARATION ENVELOPE_START
    "<soap:Body><ErrorOutOfMemoryResponse xmlns=\"http://purenetworks.com/HNAP1/\">\r\n"
    "</ErrorOutOfMemoryResponse>\r\n"
    "<Result>ERROR</Result></soap:Body></soap:Envelope>";

std::string whole_reply(std::string_view action, std::string_view inside, std::string_view reply_namespace) {
  const std::string name{action};
  return DECLARATION ENVELOPE_START "\n<soap:Body>\n<" + name + "Response xmlns=\"" +
         std::string{reply_namespace} + "\">\n" + std::string{inside} + "</" + name + ENVELOPE_END;
}

bool is_whole_reply(std::string_view reply) {
  return reply.starts_with(DECLARATION ENVELOPE_START "\n<soap:Body>\n<") && reply.ends_with(ENVELOPE_END);
}

std::string fault_of(std::string_view shown) {
  return DECLARATION ENVELOPE_START
         "\r\n<soap:Body>\r\n<soap:Fault>\r\n<faultcode>soap:Client</faultcode>\r\n"
         "<faultstring>Server did not recognize the value of HTTP Header " +
         std::string{shown} +
         "</faultstring>\r\n<detail />\r\n</soap:Fault>\r\n</soap:Body>\r\n</soap:Envelope>";
}

std::string error_page_of(std::string_view message) {
  const std::string text{message};
  std::string page = "<html><head><title>Document Error: " + text +
                     "</title></head>\r\n\t\t<body><h2>Access Error: " + text + "</h2>\r\n\t\t<p>" + text +
                     "</p></body></html>\r\n";
  page.resize(511);
  return page;
}

}  // namespace kd::test
