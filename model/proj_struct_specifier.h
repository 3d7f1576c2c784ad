#pragma once
// ProjStructSpecifier names one element of the structure of a project: a
// requirement type, or one of the whole-project base words "REQUIREMENT" and
// "DISCUSSION", in the base project or in an external project. Resolved from a
// specifier string (project part, ".", structure part, split at the last ".")
// against a project, it holds every key, prefix and GUID of the element and of
// its project, and the project's database type, schema, database and server.
//
// It is a value: copying it is MakeCopy.

#include <memory>
#include <string>
#include <string_view>

#include "engine/enums.h"
#include "services/project.h"

namespace vlq {

class ProjStructSpecifier {
 public:
  // ---- Public read-only properties ----
  std::string DBType() const { return std::to_string(lDBType_); }
  const std::string& GUID() const { return sGUID_; }
  const std::string& Schema() const { return sSchema_; }
  const std::string& ProjPrefix() const { return sProjPrefix_; }
  const std::string& ProjKey() const { return sProjKey_; }
  const std::string& StructPrefix() const { return sStructPrefix_; }
  const std::string& StructGUID() const { return sStructGUID_; }
  const std::string& StructKey() const { return sStructKey_; }
  std::string ClassName() const { return "ProjStructSpecifier"; }
  std::string ClassVersion() const;
  std::string CorrectKey() const;
  std::string CorrectRelKey() const;
  std::string CorrectPrefix() const;
  std::string CorrectGUID() const;
  bool IsBaseProjStruSpec() const { return bIsBaseProjStruSpec_; }
  bool IsProjStructElem() const { return bIsBaseProjStruSpec_; }
  std::string ExtProjFilePath() const;
  std::string ProjRelKey() const;
  bool IsExtProj() const { return bIsExtProj_; }
  std::string CompleteKey() const;
  std::string CompleteRelKey() const;
  std::string CompletePrefix() const;
  bool IsInvalid() const { return false; }
  const std::string& DatabaseName() const { return sDatabaseName_; }
  const std::string& ServerName() const { return sServerName_; }
  std::string DatabaseVersion() const { return {}; }

  // ---- For the classes of the component ----
  long DBTypeValue() const { return lDBType_; }
  void Reset() { *this = ProjStructSpecifier(); }
  // Resolves sSpecifier against oProj. Clears the two resolved flags first and
  // nothing else: a caller that reuses an object resets it before.
  enumQueryEngineError ResolveKeysAndPrefixes(const std::shared_ptr<Project>& oProj, std::string_view sSpecifier,
                                              enumQueryLookupTypes eLookupType, std::string& sErrorInfo);
  bool IsProjKeyResolved() const { return bProjResolved_ && bStructResolved_; }
  bool IsStructKeyResolved() const { return bStructResolved_; }
  // Copies every field into target (which is reset first).
  void MakeCopy(ProjStructSpecifier& target) const { target = *this; }

  void SetProjPrefix(std::string s) {
    sProjPrefix_ = std::move(s);
    bProjResolved_ = false;
  }
  void SetProjKey(std::string s) { sProjKey_ = std::move(s); }
  void SetProjRelKey(std::string s) { sProjRelKey_ = std::move(s); }
  void SetExtProjPath(std::string s) { sExtProjPath_ = std::move(s); }
  void SetExtProjFile(std::string s) { sExtProjFile_ = std::move(s); }
  void SetStructPrefix(std::string s) { sStructPrefix_ = std::move(s); }
  void SetStructKey(std::string s) {
    sStructKey_ = std::move(s);
    bStructResolved_ = false;
  }
  void SetStructGUID(std::string s) { sStructGUID_ = std::move(s); }
  void SetGUID(std::string s) { sGUID_ = std::move(s); }
  void SetSchema(std::string s) { sSchema_ = std::move(s); }
  void SetDBType(long l) { lDBType_ = l; }
  void SetDatabaseName(std::string s) { sDatabaseName_ = std::move(s); }
  void SetServerName(std::string s) { sServerName_ = std::move(s); }
  void SetIsBaseProjStruSpec(bool b) { bIsBaseProjStruSpec_ = b; }
  void SetIsExtProj(bool b) { bIsExtProj_ = b; }

 private:
  enumQueryEngineError Resolve_(const std::shared_ptr<Project>& oProj, std::string_view sSpecifier,
                                enumQueryLookupTypes eLookupType, std::string& sErrorInfo);
  bool ReadConnectionInfo_(const std::shared_ptr<Project>& oProj);

  std::string sProjPrefix_;
  std::string sProjKey_;
  std::string sProjRelKey_;
  std::string sExtProjPath_;
  std::string sExtProjFile_;
  std::string sStructPrefix_;
  std::string sStructKey_;
  std::string sStructGUID_;
  std::string sGUID_;
  std::string sSchema_;
  long lDBType_ = 0;
  std::string sDatabaseName_;
  std::string sServerName_;
  bool bProjResolved_ = false;
  bool bStructResolved_ = false;
  bool bIsBaseProjStruSpec_ = true;
  bool bIsExtProj_ = false;
  std::string sSeparator_ = ".";
};

}  // namespace vlq
