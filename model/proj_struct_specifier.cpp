#include "model/proj_struct_specifier.h"

#include "engine/mod_main.h"
#include "model/text_util.h"

namespace vlq {

std::string ProjStructSpecifier::ClassVersion() const { return modMain::ComponentVersion(); }

std::string ProjStructSpecifier::CorrectKey() const {
  return bIsBaseProjStruSpec_ ? sStructKey_ : sProjKey_ + sSeparator_ + sStructKey_;
}
std::string ProjStructSpecifier::CorrectRelKey() const {
  return bIsBaseProjStruSpec_ ? sStructKey_ : sProjRelKey_ + sSeparator_ + sStructKey_;
}
std::string ProjStructSpecifier::CorrectPrefix() const {
  return bIsBaseProjStruSpec_ ? sStructPrefix_ : sProjPrefix_ + sSeparator_ + sStructPrefix_;
}
std::string ProjStructSpecifier::CorrectGUID() const {
  return bIsBaseProjStruSpec_ ? sStructGUID_ : sGUID_ + sSeparator_ + sStructGUID_;
}
std::string ProjStructSpecifier::ExtProjFilePath() const {
  return bIsBaseProjStruSpec_ ? std::string() : sExtProjPath_ + sExtProjFile_;
}
std::string ProjStructSpecifier::ProjRelKey() const { return bIsBaseProjStruSpec_ ? std::string() : sProjRelKey_; }
std::string ProjStructSpecifier::CompleteRelKey() const { return ProjRelKey() + sSeparator_ + sStructKey_; }
std::string ProjStructSpecifier::CompleteKey() const {
  return bIsExtProj_ ? CompleteRelKey() : sProjKey_ + sSeparator_ + sStructKey_;
}
std::string ProjStructSpecifier::CompletePrefix() const { return sProjPrefix_ + sSeparator_ + sStructPrefix_; }

bool ProjStructSpecifier::ReadConnectionInfo_(const std::shared_ptr<Project>& oProj) {
  std::shared_ptr<DataServices> dataServices;
  return modMain::GetConnectionInfo(oProj, dataServices, lDBType_, sSchema_, sDatabaseName_, sServerName_);
}

enumQueryEngineError ProjStructSpecifier::ResolveKeysAndPrefixes(const std::shared_ptr<Project>& oProj,
                                                                 std::string_view sSpecifier,
                                                                 enumQueryLookupTypes eLookupType,
                                                                 std::string& sErrorInfo) {
  bProjResolved_ = false;
  bStructResolved_ = false;
  enumQueryEngineError result = eQEENone;
  try {
    result = Resolve_(oProj, sSpecifier, eLookupType, sErrorInfo);
  } catch (...) {
    // Any failure of the services while resolving means the element can't be
    // named: the caller sees an unknown element with the failure's words.
    const Failure failure =
        modMain::AsFailure(std::current_exception(), "ProjStructSpecifier.ResolveKeysAndPrefixes");
    modMain::CentralErrorHandler("ProjStructSpecifier.ResolveKeysAndPrefixes", {}, failure);
    sErrorInfo = failure.Description();
    result = eQEEUnknownExprPrefix;
  }
  return result;
}

namespace {

// The external project reference named by the project part, by the lookup
// type. A reference marked deleted is replaced by a live one with the same
// prefix, key or GUID, except that key "0" names the deleted one on purpose.
std::shared_ptr<ExtProject> FindReference(const std::shared_ptr<Project>& oProj, const std::string& sProjPart,
                                          enumQueryLookupTypes eLookupType) {
  std::shared_ptr<ExtProjects> refs;
  modMain::IgnoreAndGoOn([&] { refs = oProj->GetExtProjects(); });
  if (!refs) return nullptr;
  const ItemLookupKind kind = eLookupType == eQLTByPrefix ? eItemByPrefix
                              : eLookupType == eQLTByKey  ? eItemByKey
                                                          : eItemByGUID;
  std::shared_ptr<ExtProject> ref;
  modMain::IgnoreAndGoOn([&] { ref = refs->Item(sProjPart, kind); });
  if (!ref || !ref->IsDeleted()) return ref;
  if (eLookupType == eQLTByKey && sProjPart == "0") return ref;

  const auto identity = [eLookupType](const ExtProject& r) {
    switch (eLookupType) {
      case eQLTByPrefix:
        return text::Fold(r.Prefix());
      case eQLTByKey:
        return std::to_string(r.RelKey());
      default:
        return text::Fold(r.GUID());
    }
  };
  const std::string wanted = identity(*ref);
  std::shared_ptr<ExtProject> live;
  const long count = refs->Count();
  for (long position = 1; position <= count && !live; ++position) {
    modMain::IgnoreAndGoOn([&] {
      auto candidate = refs->Item(std::to_string(position), eItemByPosition);
      if (candidate && !candidate->IsDeleted() && identity(*candidate) == wanted) live = candidate;
    });
  }
  return live;
}

}  // namespace

enumQueryEngineError ProjStructSpecifier::Resolve_(const std::shared_ptr<Project>& oProj, std::string_view sSpecifier,
                                                   enumQueryLookupTypes eLookupType, std::string& sErrorInfo) {
  if (!oProj) {
    sErrorInfo = modMain::Message(14013);
    return eQEEProjectNothing;
  }
  if (modMain::ValidateLookupType(eLookupType) != eQEENone) {
    sErrorInfo = modMain::Message(14114);
    return eQEEInvalidLookupType;
  }
  std::string sProjPart;
  std::string sStructPart;
  const bool hasProjectPart = modMain::SplitAtLastDot(sSpecifier, sProjPart, sStructPart);

  std::shared_ptr<Project> structureProject = oProj;
  if (!hasProjectPart) {
    bProjResolved_ = true;
    bIsBaseProjStruSpec_ = true;
    bIsExtProj_ = false;
    sProjKey_ = std::to_string(oProj->Key());
    sProjPrefix_ = oProj->Prefix();
    sGUID_ = oProj->GUID();
    if (!ReadConnectionInfo_(oProj)) {
      sErrorInfo = modMain::Message(14026);
      return eQEEDataServicesNothing;
    }
  } else {
    std::shared_ptr<ExtProject> ref = FindReference(oProj, sProjPart, eLookupType);
    if (!ref) {
      sErrorInfo = modMain::MessageWithArg(14116, sProjPart);
      return eQEEExtProjUnknown;
    }
    if (!ref->IsOpen()) {
      std::shared_ptr<Project> opened;
      modMain::IgnoreAndGoOn([&] { opened = ref->Open(); });
      if (!opened) {
        sErrorInfo = modMain::MessageWithArg(14115, sProjPart);
        return eQEEExtProjClosed;
      }
    }
    bProjResolved_ = true;
    bIsBaseProjStruSpec_ = false;
    bIsExtProj_ = true;
    structureProject = ref->GetProject();
    if (structureProject) sProjKey_ = std::to_string(structureProject->Key());
    sProjRelKey_ = std::to_string(ref->RelKey());
    sProjPrefix_ = ref->Prefix();
    sExtProjPath_ = ref->Path();
    sExtProjFile_ = ref->FileName();
    sGUID_ = ref->GUID();
    if (!structureProject) {
      sErrorInfo = modMain::MessageWithArg(14008, sProjPrefix_);
      return eQEEExtProjClosed;
    }
    if (!ReadConnectionInfo_(structureProject)) {
      sErrorInfo = modMain::Message(14026);
      return eQEEDataServicesNothing;
    }
  }

  // The base words name the whole project; compared exactly, with case.
  if (sSpecifier == "REQUIREMENT" || sSpecifier == "DISCUSSION") {
    sStructPrefix_ = std::string(sSpecifier);
    sStructKey_ = std::string(sSpecifier);
    return eQEENone;
  }
  for (const ReqType& type : structureProject->ReqTypes()) {
    const std::string key = std::to_string(type.Key);
    const bool match = eLookupType == eQLTByPrefix ? text::EqualsNoCase(sStructPart, text::TrimView(type.Prefix))
                       : eLookupType == eQLTByKey  ? text::EqualsNoCase(sStructPart, key)
                                                   : text::EqualsNoCase(sStructPart, text::TrimView(type.GUID));
    if (match) {
      sStructKey_ = text::Trim(key);
      sStructPrefix_ = text::Trim(type.Prefix);
      sStructGUID_ = text::Trim(type.GUID);
      bStructResolved_ = true;
      return eQEENone;
    }
  }
  sErrorInfo = modMain::MessageWithArg(hasProjectPart ? 14121 : 14120, std::string(sSpecifier));
  return eQEEUnknownExprPrefix;
}

}  // namespace vlq
