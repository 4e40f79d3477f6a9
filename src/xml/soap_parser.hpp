// Reading a request body: expat builds the tree, then the envelope's structure is checked.
#pragma once

#include <expat.h>

#include <cstdint>
#include <memory>

#include "xml/hnap_request.hpp"
#include "xml/xml_tree.hpp"

namespace kd {

struct ParserDeleter {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

// The parser and the tree that it fills, for one request.
struct SoapDocument {
  hnap_request& request;
  std::unique_ptr<XML_ParserStruct, ParserDeleter> parser = {};
  TreePtr tree = {};
};

// Makes the parser and the empty tree. The document stays where it is from here on.
//   returns  null, or the message for the error page
const char* open_document(SoapDocument& document);

// Feeds the request's body to the parser. While hnap_error_flag is set the tree does not grow.
//   content_length  of the request, as a signed 32-bit number
//   returns         null, or the message for the error page
const char* parse_document(SoapDocument& document, std::int32_t content_length);

// The action element: the only child of the body of the envelope, in a namespace of ours.
//   returns  null when the structure is wrong
const xml_element* find_action_element(const xml_tree& tree);

}  // namespace kd
