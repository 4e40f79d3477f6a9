#include "xml/soap_parser.hpp"

#include <algorithm>

#include "base/debug_log.hpp"
#include "xml/namespaces.hpp"

// Newer releases of expat put off the parsing of what follows a cut token; the parser is never told that the
// body is over, so that would lose its end. Older ones lack the switch, and do not need it.
// NOLINTNEXTLINE(readability-redundant-declaration)
extern "C" __attribute__((weak)) XML_Bool XML_SetReparseDeferralEnabled(XML_Parser parser, XML_Bool enabled);
// They also deprecate XML_GetCurrentByteIndex, for a function that older ones lack.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace kd {
namespace {

constexpr const char* kParserError = "XML PARSE CREATE ERROR";
constexpr const char* kTreeError = "NEW XML TREE ERROR";
constexpr const char* kEmptyError = "CONTENT LEN == 0 XML PARSE ERROR";
constexpr const char* kStatusError = "XML PARSE STATUS NOT OK ERROR";
constexpr const char* kNegativeError = "CONTENT LEN < 0 XML PARSE ERROR";

constexpr std::size_t kWorkSize = 20480;

void start(void* user_data, const XML_Char* name, const XML_Char** atts) {
  const auto& document = *static_cast<SoapDocument*>(user_data);
  if (document.request.hnap_error_flag) return;
  xml_tree* tree = document.tree.get();
  xml_element* element = new_xml_element(tree, name);
  // A pair whose attribute cannot be made is skipped.
  for (; element && atts[0]; atts += 2) add_xml_element_attr(element, new_attribute(tree, atts[0], atts[1]));
  if (!push_xml_tree(tree, element)) document.request.hnap_error_flag = true;
}

void end(void* user_data, const XML_Char*) {
  const auto& document = *static_cast<SoapDocument*>(user_data);
  if (!document.request.hnap_error_flag) pop_xml_tree(document.tree.get());
}

void charhndl(void* user_data, const XML_Char* text, int length) {
  const auto& document = *static_cast<SoapDocument*>(user_data);
  if (document.request.hnap_error_flag) return;
  add_text_xml_tree(document.tree.get(), text, static_cast<std::size_t>(length));
  const auto* open = static_cast<const xml_element*>(top_stack(document.tree->open_elements));
  // A text that could not grow is lost, and a request with a hole in it must not be acted on.
  if (open && !open->text) document.request.hnap_error_flag = true;
}

// Whether the word stands in the text and neither spelling of it follows: a start tag without its end.
bool stands_alone(std::string_view text, std::string_view word) {
  const std::size_t at = text.find(word);
  if (at == std::string_view::npos) return false;
  const std::string_view rest = tail(text, at + word.size());
  return !contains(rest, "Envelope") && !contains(rest, "envelope");
}

// The parser is never told that the document is over, so a missing end is caught here. A whole envelope names
// itself three times: start tag, namespace, end tag.
bool is_incomplete(std::string_view text) {
  return stands_alone(text, "Envelope") || stands_alone(text, "envelope");
}

// A NUL byte ends the text.
std::string_view up_to_nul(std::string_view text) {
  return head(text, text.find('\0'));
}

bool feed(XML_Parser parser, std::string_view text) {
  return XML_Parse(parser, text.data(), static_cast<int>(text.size()), 0) == XML_STATUS_OK;
}

const char* parse_in_passes(XML_Parser parser, std::string_view body, std::int32_t content_length) {
  constexpr std::int32_t kPass = kWorkSize - 1;
  bool seen_markup = false;
  for (std::int32_t left = content_length; left > 0;) {
    const std::int32_t pass = std::min(kPass, left);
    left -= pass;
    // Every pass begins at the start of the body again: what is longer than one pass is not a request that
    // any action expects, and its second pass ends in a parse error unless it is too short for one.
    std::string_view text = head(body, static_cast<std::size_t>(pass));
    if (!seen_markup) {
      const std::size_t markup = text.find('<');
      seen_markup = markup != std::string_view::npos;
      text = tail(text, seen_markup ? markup : text.size());
    }
    text = up_to_nul(text);
    if (is_incomplete(text)) {
      KD_LOG_MODULE("XML PARSE STATUS NOT OK ERROR 1");
      return kStatusError;
    }
    if (!seen_markup) continue;
    const XML_Index parsed = XML_GetCurrentByteIndex(parser);
    if (!feed(parser, text)) {
      KD_LOG_MODULE("XML PARSE STATUS NOT OK ERROR 2");
      return kStatusError;
    }
    // A pass that lies inside one token leaves the next one where it began itself: the whole ones that follow
    // change nothing, and each would cost as much as all before it together.
    if (parsed == XML_GetCurrentByteIndex(parser)) left %= kPass;
  }
  return nullptr;
}

const char* parse_of_negative_length(XML_Parser parser, std::string_view body) {
  if (body.size() > kWorkSize) return nullptr;
  const std::size_t markup = body.find('<');
  if (markup == std::string_view::npos) return nullptr;
  if (feed(parser, up_to_nul(tail(body, markup)))) return nullptr;
  KD_LOG_MODULE("XML PARSE STATUS NOT OK ERROR 3");
  return kNegativeError;
}

bool is_known_namespace(std::string_view value) {
  constexpr std::string_view kKnown[] = {HNAP1_NAMESPACE, HNAPEXT_NAMESPACE, ACCESSPOINT_NAMESPACE,
                                         EXTENDER_NAMESPACE_B, EXTENDER_NAMESPACE_A};
  return value.empty() || std::find(std::begin(kKnown), std::end(kKnown), value) != std::end(kKnown);
}

bool is_named_like(const xml_element* element, std::string_view part) {
  return element && contains(element->name, part);
}

const xml_element* find_body(const xml_element& envelope) {
  const xml_element* first = envelope.first_child;
  if (is_named_like(first, "Header")) {
    return is_named_like(first->next_sibling, "Body") ? first->next_sibling : nullptr;
  }
  if (!is_named_like(first, "Body")) return nullptr;
  return is_named_like(first->next_sibling, "Body") ? nullptr : first;
}

}  // namespace

const char* open_document(SoapDocument& document) {
  document.parser.reset(XML_ParserCreate(nullptr));
  if (!document.parser) return kParserError;
  document.tree.reset(new_xml_tree());
  if (!document.tree) {
    KD_LOG_MODULE("NEW XML TREE ERROR");
    return kTreeError;
  }
  XML_Parser parser = document.parser.get();
  XML_SetUserData(parser, &document);
  XML_SetElementHandler(parser, start, end);
  XML_SetCharacterDataHandler(parser, charhndl);
  if (XML_SetReparseDeferralEnabled) XML_SetReparseDeferralEnabled(parser, XML_FALSE);
  return nullptr;
}

const char* parse_document(SoapDocument& document, std::int32_t content_length) {
  if (content_length == 0) {
    KD_LOG_MODULE("CONTENT LEN == 0");
    return kEmptyError;
  }
  const std::string_view body = document.request.body();
  if (content_length > 0) return parse_in_passes(document.parser.get(), body, content_length);
  return parse_of_negative_length(document.parser.get(), body);
}

const xml_element* find_action_element(const xml_tree& tree) {
  const xml_element* body = tree.root && tree.root->first_child ? find_body(*tree.root) : nullptr;
  const xml_element* action = body ? body->first_child : nullptr;
  if (!action || action->next_sibling) return nullptr;
  if (!action->attributes.head) return nullptr;
  const auto& first = *static_cast<const attribute*>(action->attributes.head->data);
  if (contains(first.name, "xmlns") && !is_known_namespace(first.value)) return nullptr;
  return action;
}

}  // namespace kd
