#pragma once

#include <string>

#include "libs/xml/element.h"

namespace tessel::xml {

/// The text as a String of its own.
inline String owned(const std::string& text) { return String::copy(std::string_view(text)); }
inline std::string standard(const String& text) { return std::string(text.view()); }

/// A tree in one line: name{namespace}[attributes](children), texts in "|", comments in "#".
std::string picture(const Element& element);
/// Of the document; what parsing raised, as "message:file:line", when it did.
std::string picture(const std::string& document);

}  // namespace tessel::xml
