#ifndef ZOR_BENCH_XML_DOCUMENTS_H
#define ZOR_BENCH_XML_DOCUMENTS_H

#include <cstddef>
#include <string>

/// A device-parameters document of about uBytes bytes: attributes, entities, texts of several
/// scripts, as compact as the recorder application sends it.
std::string MakeDeviceParameters(std::size_t uBytes);

#endif
