#pragma once
// TypedSimpleExpression: one filter or sort expression, attribute operator
// value, resolved against a project. ResolveForType decides whether the
// attribute is a system attribute or one of the requirement type, finds its
// key, data type and list, checks operator and value, converts the value to its
// typed form and looks list items, users, groups and documents up. SQL
// generation reads this object, never the query text.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/enums.h"
#include "model/collection.h"
#include "model/proj_struct_specifier.h"
#include "model/variant.h"
#include "services/project.h"

namespace vlq {

class SimpleExpression;

class TypedSimpleExpression {
 public:
  TypedSimpleExpression();
  ~TypedSimpleExpression();

  // ---- Public read-only properties ----
  const std::string& AttrKey() const { return sAttrKey_; }
  enumQueryReturnTypes BaseType() const { return eBaseType_; }
  bool ExprNot() const;
  enumExpressionOperator Operator() const;
  bool IsSystemAttr() const { return bIsSystemAttr_; }
  bool IsEdit() const { return bIsEdit_; }
  Variant Value() const;
  Variant HighValue() const;
  long ListItemKey() const { return lListItemKey_; }
  long AttrDataType() const { return lAttrDataType_; }
  // Keys of the values named by IN, whole numbers under their decimal text.
  const Collection<long>& ListItemKeys() const { return cListItemKeys_; }
  // The values named by IN on an attribute that takes a free value, each in
  // its typed form, in the order written, each once.
  const std::vector<Variant>& ListItemValues() const { return aListItemValues_; }
  std::string QueryString(enumQueryLookupTypes eLookupType) const;
  bool IsAllExpr() const;
  std::string ClassName() const { return "TypedSimpleExpression"; }
  std::string ClassVersion() const;
  const ProjStructSpecifier& ProjStruSpec() const { return oProjStruSpec_; }
  enumQueryEngineError BuildErrNumber() const { return eBuildErrNumber_; }
  const std::string& BuildErrString() const { return sBuildErrString_; }

  // Display forms, for the query text.
  const std::string& AttrPrefix() const { return sAttrPrefix_; }
  const std::string& AttrGUID() const { return sAttrGUID_; }
  const Collection<std::string>& ListItemPrefixes() const { return cListItemPrefixes_; }
  const Collection<std::string>& ListItemGUIDs() const { return cListItemGUIDs_; }
  const std::string& ListItemPrefix() const { return sListItemPrefix_; }
  const std::string& ListItemGUID() const { return sListItemGUID_; }

  // ---- For the classes of the component ----
  const std::shared_ptr<SimpleExpression>& GetSimpleExpression() const { return oSimpleExpression_; }
  void SetSimpleExpression(std::shared_ptr<SimpleExpression> oExpr) { oSimpleExpression_ = std::move(oExpr); }
  void SetAttrKey(std::string s) { sAttrKey_ = std::move(s); }
  void SetBaseType(enumQueryReturnTypes e) { eBaseType_ = e; }
  void SetExprNot(bool b);
  void SetIsSystemAttr(bool b) { bIsSystemAttr_ = b; }
  void SetIsEdit(bool b) { bIsEdit_ = b; }
  void SetOperator(enumExpressionOperator e);
  void SetValue(Variant v);
  void SetHighValue(Variant v);
  void SetListItemKey(long l) { lListItemKey_ = l; }
  void SetAttrDataType(long l) { lAttrDataType_ = l; }
  // Keeps its own copy of the caller's specifier.
  void SetProjStruSpec(const ProjStructSpecifier& oSpec) { oSpec.MakeCopy(oProjStruSpec_); }
  Collection<long>& MutableListItemKeys() { return cListItemKeys_; }
  std::vector<Variant>& MutableListItemValues() { return aListItemValues_; }

  enumQueryEngineError ResolveForType(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                      enumQueryLookupTypes eLookupType, enumReqQueryScope eScope,
                                      std::string& sErrInfo);
  // Checks a value against a data type and gives its typed form in value.
  static bool IsValidDataForType(Variant& value, long eDataType);
  // The attribute of oReqType named by sAttr by the lookup type; nullptr if none.
  static const Attr* GetAttr(enumQueryLookupTypes eLookupType, const ReqType* oReqType, std::string_view sAttr);
  enumQueryEngineError ResolveSystemAttr(enumSystemAttrKey eKey, enumQueryLookupTypes eLookupType,
                                         std::string& sErrInfo);
  enumQueryEngineError ResolveSystemAttrData(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                             enumQueryLookupTypes eLookupType, enumSystemAttrKey eKey,
                                             std::string& sValue, std::string& sDisplay, std::string& sGUID,
                                             std::string& sErrInfo);

 private:
  enumQueryEngineError ResolveForType_(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                       enumQueryLookupTypes eLookupType, enumReqQueryScope eScope,
                                       std::string& sErrInfo);
  std::string QueryString_(enumQueryLookupTypes eLookupType) const;
  // The sort word of the query text: the order number by key, " ASC" or
  // " DESC" in the two other forms.
  std::string SortWord_(enumQueryLookupTypes eLookupType) const;
  // Records a failure in BuildErrNumber and BuildErrString, gives its words in
  // sErrInfo and its code as the result.
  enumQueryEngineError Fail_(enumQueryEngineError eError, std::string sMessage, std::string& sErrInfo);
  // A failure that a build records and goes on from: the code under
  // bStopOnErr, else 0.
  enumQueryEngineError SoftFail_(bool bStopOnErr, enumQueryEngineError eError, std::string sMessage,
                                 std::string& sErrInfo);
  enumQueryEngineError ResolveSort_(enumQueryLookupTypes eLookupType, std::string& sErrInfo);
  enumQueryEngineError ResolveFreeValue_(std::string& sErrInfo);
  enumQueryEngineError ResolveListValue_(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                         enumQueryLookupTypes eLookupType, enumReqQueryScope eScope,
                                         const Attr* pAttr, std::string& sErrInfo);
  enumQueryEngineError ResolveDiscussionValue_(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                               enumQueryLookupTypes eLookupType, std::string& sErrInfo);
  // ResolveSystemAttrData; bSoftFailed tells that a soft failure was recorded
  // and the value left as it was.
  enumQueryEngineError ResolveSystemAttrData_(bool bStopOnErr, const std::shared_ptr<Project>& oProj,
                                              enumQueryLookupTypes eLookupType, enumSystemAttrKey eKey,
                                              std::string& sValue, std::string& sDisplay, std::string& sGUID,
                                              std::string& sErrInfo, bool& bSoftFailed);

  enumQueryReturnTypes eBaseType_ = eBTNone;
  std::shared_ptr<SimpleExpression> oSimpleExpression_;
  ProjStructSpecifier oProjStruSpec_;
  std::string sAttrKey_;
  bool bIsSystemAttr_ = false;
  bool bIsEdit_ = false;
  long lAttrDataType_ = 0;
  Collection<long> cListItemKeys_;
  std::vector<Variant> aListItemValues_;
  long lListItemKey_ = 0;
  std::string sAttrPrefix_;
  Collection<std::string> cListItemPrefixes_;
  std::string sListItemPrefix_;
  std::string sAttrGUID_;
  Collection<std::string> cListItemGUIDs_;
  std::string sListItemGUID_;
  // What a build that went on past errors couldn't resolve (a list item, a
  // user, a document), as the query wrote it: the query text keeps it.
  std::optional<std::string> sUnknownValue_;
  std::vector<std::string> aUnknownItems_;
  enumQueryEngineError eBuildErrNumber_ = eQEENone;
  std::string sBuildErrString_;
};

}  // namespace vlq
