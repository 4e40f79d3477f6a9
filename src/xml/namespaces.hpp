// The namespaces and addresses of the protocol. Macros, because the fixed replies are put together from them
// at compile time.
#pragma once

#define HNAP1_NAMESPACE "http://purenetworks.com/HNAP1/"
#define HNAPEXT_NAMESPACE "http://kelda.example/HNAPExt/"
#define ACCESSPOINT_NAMESPACE "http://kelda.example/HNAPExt/AccessPoint/"
#define EXTENDER_NAMESPACE_A "http://kelda.example/HNAPExt/Extender/"
#define EXTENDER_NAMESPACE_B "http://corvane.example/HNAPExt/Extender/"

#define XSI_NAMESPACE "http://www.w3.org/2001/XMLSchema-instance"
#define XSD_NAMESPACE "http://www.w3.org/2001/XMLSchema"
#define SOAP_ENV_NAMESPACE "http://schemas.xmlsoap.org/soap/envelope/"

#define SUPPORT_URL "http://support.corvane.example/international/"
