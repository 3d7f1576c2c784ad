#pragma once
// The vocabulary of system attributes: the built-in fields of requirements,
// trace relationships and discussions, with the text and GUID that a query may
// name them by. The public view of the requirement and trace attributes is the
// class SystemAttributes (model/system_attributes.h); these are the tables the
// typed expressions and the query text use.

#include <string>
#include <string_view>

#include "engine/enums.h"

namespace vlq::modMain {

// The system attribute named by a query's text under a base type and lookup
// type, or eSAKUnknown. By text and GUID the text is compared trimmed and in
// upper case; under the numeric forms it must be the key itself.
enumSystemAttrKey SystemAttrStringToEnum(enumQueryReturnTypes eBaseType, std::string_view sAttr,
                                         enumQueryLookupTypes eLookupType);

// The text of a requirement attribute as the query text writes it ("AUTHOR"
// for -6, "LOCATION" for -8); "0" for any other key, discussion attributes
// included.
std::string SystemAttrEnumToString(enumSystemAttrKey eKey);
// The GUID of a requirement attribute as the query text writes it; "0" for any
// other key.
std::string SystemAttrEnumToGUID_(enumSystemAttrKey eKey);

// The text and GUID of the trace relationship attributes, -100 to -103; "0"
// for any other key.
std::string SysRelAttrEnumToString(enumSystemAttrKey eKey);
std::string SysRelAttrEnumToGUID_(enumSystemAttrKey eKey);

// The GUID of a system attribute from the two hex digits that tell them apart:
// {B9FA15xx-4209-11D4-9A75-0010A4F40007}.
std::string SystemAttrGUID(std::string_view sDigits);

// The table forms of a requirement or trace attribute, as SystemAttributes
// gives them: "AUTHORKEY" with xx 76 for -6, "LOCATIONKEY" with xx 79 for -8.
// Empty for a key that is neither.
std::string SystemAttrTableText(enumSystemAttrKey eKey);
std::string SystemAttrTableGUID(enumSystemAttrKey eKey);

}  // namespace vlq::modMain
