#include "model/system_attributes.h"

#include "engine/mod_main.h"
#include "engine/system_attr_tables.h"

namespace vlq {

std::string SystemAttributes::Form_(enumSystemAttrKey eAttr, enumSystemAttribute_ReturnTypes eReturnType) {
  std::string result;
  modMain::HandleAndLeave("SystemAttributes.Property", [&] {
    switch (eReturnType) {
      case eKey:
        result = std::to_string(static_cast<int>(eAttr));
        break;
      case ePrefix:
        result = modMain::SystemAttrTableText(eAttr);
        break;
      case eGuid:
        result = modMain::SystemAttrTableGUID(eAttr);
        break;
      default:
        break;
    }
  });
  return result;
}

#define VLQ_SYSTEM_ATTRIBUTE(Property, KeyValue)                                              \
  std::string SystemAttributes::Property(enumSystemAttribute_ReturnTypes eReturnType) const { \
    return Form_(KeyValue, eReturnType);                                                      \
  }

VLQ_SYSTEM_ATTRIBUTE(Key, eSAKReqKey)
VLQ_SYSTEM_ATTRIBUTE(Tag, eSAKReqTag)
VLQ_SYSTEM_ATTRIBUTE(RootTagNumber, eSAKReqRootTagNbr)
VLQ_SYSTEM_ATTRIBUTE(Text, eSAKReqText)
VLQ_SYSTEM_ATTRIBUTE(AuthorName, eSAKReqAuthorName)
VLQ_SYSTEM_ATTRIBUTE(AuthorKey, eSAKReqAuthorKey)
VLQ_SYSTEM_ATTRIBUTE(LocationName, eSAKReqLocationName)
VLQ_SYSTEM_ATTRIBUTE(LocationKey, eSAKReqLocationKey)
VLQ_SYSTEM_ATTRIBUTE(Revision, eSAKReqRevision)
VLQ_SYSTEM_ATTRIBUTE(Reason, eSAKReqReason)
VLQ_SYSTEM_ATTRIBUTE(DiscussionKey, eSAKReqDiscussionKey)
VLQ_SYSTEM_ATTRIBUTE(DiscussionStatus, eSAKReqDiscussionStatus)
VLQ_SYSTEM_ATTRIBUTE(KeyScalar, eSAKReqKeyScalar)
VLQ_SYSTEM_ATTRIBUTE(HierarchyLevel, eSAKReqHierLevel)
VLQ_SYSTEM_ATTRIBUTE(DateTime, eSAKReqRevDateTime)
VLQ_SYSTEM_ATTRIBUTE(SuspectDateTime, eSAKReqSuspectDateTime)
VLQ_SYSTEM_ATTRIBUTE(BookmarkName, eSAKReqBookmarkName)
VLQ_SYSTEM_ATTRIBUTE(IsDocTextCurrent, eSAKReqIsDocTextCurrent)
VLQ_SYSTEM_ATTRIBUTE(Name, eSAKReqName)
VLQ_SYSTEM_ATTRIBUTE(DocumentPosition, eSAKReqDocPosition)
VLQ_SYSTEM_ATTRIBUTE(PackageKey, eSAKReqPackageKey)
VLQ_SYSTEM_ATTRIBUTE(PackageName, eSAKReqPackageName)
VLQ_SYSTEM_ATTRIBUTE(TracedTo, eSAKRelTraceTo)
VLQ_SYSTEM_ATTRIBUTE(TracedFrom, eSAKRelTraceFrom)
VLQ_SYSTEM_ATTRIBUTE(Status, eSAKRelStatus)
VLQ_SYSTEM_ATTRIBUTE(DirectOnly, eSAKRelDirectOnly)

#undef VLQ_SYSTEM_ATTRIBUTE

}  // namespace vlq
