#ifndef REPLY_PARSER_H
#define REPLY_PARSER_H

// A reply through the real router, fed to the parser in pieces of a chosen
// size as a transport would deliver it.
#include <memory>
#include <string>

#include "tamberResponse/tamberResponse.h"

namespace testport {

// Every piece must be taken whole; a piece the parser refuses is a test failure.
std::unique_ptr<TQLResponse> parseReply(const std::string& text, size_t piece);

} // namespace testport

#endif
