// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "libs/base/errors.h"

namespace tessel::xml {

/// Base of everything that parsing raises.
TESSEL_EXCEPTION(XmlException, Exception);
TESSEL_EXCEPTION(EXmlStringParser, XmlException);
TESSEL_EXCEPTION(EXmlFileParser, XmlException);
TESSEL_EXCEPTION(EXmlElement, XmlException);
TESSEL_EXCEPTION(EXmlAttribute, XmlException);
TESSEL_EXCEPTION(EXmlAttributeValue, XmlException);
TESSEL_EXCEPTION(EXmlComment, XmlException);
/// A node of an unknown type was asked for.
TESSEL_EXCEPTION(EXmlNode, XmlException);
/// An attribute that the element has not was asked for.
TESSEL_EXCEPTION(EXmlNoAttribute, XmlException);

/// A file cannot be read as a document.
TESSEL_EXCEPTION(EParserReader, Exception);
using AnyKeyReaderError = tessel::EKeyReader;
/// A key is missing, or its text is not of the type asked for.
TESSEL_EXCEPTION(EKeyReader, AnyKeyReaderError);
/// A document cannot be saved.
TESSEL_EXCEPTION(EParser, Exception);

/// Where this module raises and catches. The numbers are seen outside and never change.
namespace sites {
inline constexpr RaiseSite kNoTag{"libs/xml/stringparser", 20};
inline constexpr RaiseSite kLeadingComment{"libs/xml/stringparser", 25};
inline constexpr RaiseSite kOpenLeadingComment{"libs/xml/stringparser", 26};
inline constexpr RaiseSite kOpenDeclaration{"libs/xml/stringparser", 32};
inline constexpr RaiseSite kOpenRoot{"libs/xml/stringparser", 45};
inline constexpr RaiseSite kDocumentTooLong{"libs/xml/fileparser", 20};
inline constexpr RaiseSite kNestedTooDeeply{"libs/xml/element", 305};
inline constexpr RaiseSite kOpenStartTag{"libs/xml/element", 311};
inline constexpr RaiseSite kAttributeCaught{"libs/xml/element", 330};
inline constexpr RaiseSite kBadAttribute{"libs/xml/element", 331};
inline constexpr RaiseSite kCommentCaught{"libs/xml/element", 435};
inline constexpr RaiseSite kOpenInnerDeclaration{"libs/xml/element", 444};
inline constexpr RaiseSite kOpenName{"libs/xml/element", 468};
inline constexpr RaiseSite kNoSuchAttribute{"libs/xml/element", 520};
inline constexpr RaiseSite kMissingValue{"libs/xml/attribute", 41};
inline constexpr RaiseSite kValueCaught{"libs/xml/attribute", 49};
inline constexpr RaiseSite kBadValue{"libs/xml/attribute", 50};
inline constexpr RaiseSite kOpenSingleQuote{"libs/xml/attributevalue", 29};
inline constexpr RaiseSite kOpenDoubleQuote{"libs/xml/attributevalue", 45};
inline constexpr RaiseSite kOpenComment{"libs/xml/comment", 55};
inline constexpr RaiseSite kUnknownType{"libs/xml/node", 30};
inline constexpr RaiseSite kNoFile{"libs/xml/parserreader", 17};
inline constexpr RaiseSite kParseCaught{"libs/xml/parserreader", 23};
inline constexpr RaiseSite kNotParsable{"libs/xml/parserreader", 25};
inline constexpr RaiseSite kNoKey{"libs/xml/keyreader", 94};
inline constexpr RaiseSite kNoBoolean{"libs/xml/keyreader", 150};
inline constexpr RaiseSite kTooShort{"libs/xml/keyreader", 170};
inline constexpr RaiseSite kClosedElement{"libs/xml/writerkeywriter", 44};
inline constexpr RaiseSite kSaveCaught{"libs/xml/parser", 30};
inline constexpr RaiseSite kNotSaved{"libs/xml/parser", 31};
}  // namespace sites

}  // namespace tessel::xml
