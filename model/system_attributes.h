#pragma once
// SystemAttributes: the public view of the built-in attributes of requirements
// and trace relationships. A caller creates it to learn the key, the text or
// the GUID by which a query names each of them. Each property takes the form
// wanted: eKey the key as decimal text, ePrefix the text, eGuid the GUID with
// its braces; any other value gives the empty string.

#include <string>

#include "engine/enums.h"

namespace vlq {

class SystemAttributes {
 public:
  std::string Key(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string Tag(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string RootTagNumber(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string Text(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string AuthorName(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string AuthorKey(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string LocationName(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string LocationKey(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string Revision(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string Reason(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string DiscussionKey(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string DiscussionStatus(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string KeyScalar(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string HierarchyLevel(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string DateTime(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string SuspectDateTime(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string BookmarkName(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string IsDocTextCurrent(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string Name(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string DocumentPosition(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string PackageKey(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string PackageName(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string TracedTo(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string TracedFrom(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string Status(enumSystemAttribute_ReturnTypes eReturnType) const;
  std::string DirectOnly(enumSystemAttribute_ReturnTypes eReturnType) const;

 private:
  static std::string Form_(enumSystemAttrKey eAttr, enumSystemAttribute_ReturnTypes eReturnType);
};

}  // namespace vlq
