#include "xml/envelope.hpp"

#include <cstdio>
#include <span>

#include "xml/namespaces.hpp"

namespace kd {
namespace {

#define XML_DECLARATION "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n"
#define ENVELOPE_START                                                        \
  "<soap:Envelope xmlns:xsi=\"" XSI_NAMESPACE "\" xmlns:xsd=\"" XSD_NAMESPACE \
  "\" xmlns:soap=\"" SOAP_ENV_NAMESPACE "\">"

// "Result" stands outside the response element: clients know this text as it is.
constexpr std::string_view kOutOfMemoryReply =
    XML_DECLARATION ENVELOPE_START "<soap:Body><ErrorOutOfMemoryResponse xmlns=\"" HNAP1_NAMESPACE
                                   "\">\r\n"
                                   "</ErrorOutOfMemoryResponse>\r\n"
                                   "<Result>ERROR</Result></soap:Body></soap:Envelope>";
static_assert(kOutOfMemoryReply.size() == 366);

constexpr std::string_view kFaultStart = XML_DECLARATION ENVELOPE_START
    "\r\n<soap:Body>\r\n<soap:Fault>\r\n<faultcode>soap:Client</faultcode>\r\n"
    "<faultstring>Server did not recognize the value of HTTP Header ";
static_assert(kFaultStart.size() == 337);

constexpr std::string_view kFaultEnd =
    "</faultstring>\r\n<detail />\r\n</soap:Fault>\r\n</soap:Body>\r\n</soap:Envelope>";
static_assert(kFaultEnd.size() == 73);

struct FixedAttribute {
  const char* name;
  const char* value;
};

// Attribute values carry their quotes: the serializer adds none.
constexpr FixedAttribute kEnvelopeAttributes[] = {
    {"xmlns:xsi", "\"" XSI_NAMESPACE "\""},
    {"xmlns:xsd", "\"" XSD_NAMESPACE "\""},
    {"xmlns:soap", "\"" SOAP_ENV_NAMESPACE "\""},
};

const char* response_namespace(const hnap_request& request, int is_extender) {
  if (!is_extender) return "\"" HNAP1_NAMESPACE "\"";
  return request.alternate_namespace ? "\"" EXTENDER_NAMESPACE_B "\"" : "\"" EXTENDER_NAMESPACE_A "\"";
}

bool open_element(xml_tree* tree, const char* name, std::span<const FixedAttribute> attributes) {
  xml_element* element = new_xml_element(tree, name);
  for (const FixedAttribute& wanted : attributes) {
    if (!add_xml_element_attr(element, new_attribute(tree, wanted.name, wanted.value))) return false;
  }
  return push_xml_tree(tree, element);
}

}  // namespace

void kd_hnap_generate_common_header(hnap_request& request, xml_tree* tree, const char* response_name,
                                    int is_extender) {
  const FixedAttribute response_attributes[] = {{"xmlns", response_namespace(request, is_extender)}};
  if (!open_element(tree, "soap:Envelope", kEnvelopeAttributes) || !open_element(tree, "soap:Body", {}) ||
      !open_element(tree, response_name, response_attributes)) {
    request.hnap_error_flag = true;
  }
}

void kd_hnap_generate_return_msg_header(Text& reply) {
  reply.append(XML_DECLARATION);
}

std::size_t reply_size(const xml_tree& tree) {
  return sizeof XML_DECLARATION + tree.written_size;
}

void write_reply(xml_tree& tree, Text& room) {
  pop_all_xml_tree(&tree);
  // One allocation of the right size: a reply may be megabytes long.
  room.reserve(reply_size(tree) - 1);
  kd_hnap_generate_return_msg_header(room);
  generate_xml(&tree, room);
}

ReplyText finished(hnap_request& request, Text& room) {
  return room.failed() ? report_memory_error(request) : ReplyText{std::move(room)};
}

ReplyText kd_hnap_report_HNAP_error_owntext(hnap_request& request, xml_tree* tree,
                                            xml_element* result_element, const char* text) {
  request.hnap_error_flag = true;
  set_xml_element_text(result_element, text);
  if (!result_element || !result_element->text || !push_pop_xml_tree(tree, result_element)) {
    return report_memory_error(request);
  }
  Text room;
  write_reply(*tree, room);
  return finished(request, room);
}

ReplyText kd_hnap_report_HNAP_error(hnap_request& request, xml_tree* tree, xml_element* result_element) {
  return kd_hnap_report_HNAP_error_owntext(request, tree, result_element, kGenericError);
}

ReplyText report_memory_error(hnap_request& request) {
  request.hnap_error_flag = true;
  return ReplyText::constant(kOutOfMemoryReply);
}

std::array<std::string_view, 3> soap_fault(const char* soap_action) {
  // Three bytes, however long the value is: clients have always seen it cut like this.
  return {kFaultStart, head(view_of(soap_action), 3), kFaultEnd};
}

ErrorPage make_error_page(const char* message) {
  ErrorPage page{};
  std::snprintf(page.text, sizeof page.text,
                "<html><head><title>Document Error: %s</title></head>\r\n"
                "\t\t<body><h2>Access Error: %s</h2>\r\n"
                "\t\t<p>%s</p></body></html>\r\n",
                message, message, message);
  return page;
}

}  // namespace kd
