// Reading a request body: expat builds the tree, then the envelope's structure is checked.
#pragma once

#include <expat.h>

#include <cstdint>
#include <string_view>

#include "base/hnap_request.hpp"
#include "xml/xml_tree.hpp"

namespace kd {

struct parser_deleter {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

// The parser and the tree that it fills, for one request.
struct soap_document {
  std::unique_ptr<XML_ParserStruct, parser_deleter> parser;
  tree_ptr tree;
};

// Makes the parser and the empty tree, bound to each other.
//   returns  null, or the message for the error page
const char* open_document(soap_document& document, const hnap_request& request);

// Feeds the body to the parser. While hnap_error_flag is set the tree does not grow.
//   content_length  of the request, as a signed 32-bit number
//   returns         null, or the message for the error page
const char* parse_document(soap_document& document, const hnap_request& request, std::int32_t content_length);

// The action element: the only child of the body of the envelope, in a namespace of ours.
//   returns  null when the structure is wrong
const xml_element* find_action_element(const xml_tree& tree);

}  // namespace kd
