#pragma once
// A project that hands every call on to another one: the base of test
// projects that change one thing about a real project, its database access
// above all.

#include <memory>

#include "services/project.h"

namespace vlq::test {

class ForwardingProject : public Project {
 public:
  explicit ForwardingProject(std::shared_ptr<Project> inner) : inner_(std::move(inner)) {}

  long Key() const override { return inner_->Key(); }
  std::string GUID() const override { return inner_->GUID(); }
  std::string Prefix() const override { return inner_->Prefix(); }
  bool IsConnected() const override { return inner_->IsConnected(); }
  long CurrentUserKey() const override { return inner_->CurrentUserKey(); }
  bool CurrentUserIsPrivileged() const override { return inner_->CurrentUserIsPrivileged(); }
  std::shared_ptr<ProjectManager> Manager() const override { return inner_->Manager(); }
  const std::vector<User>& Users() const override { return inner_->Users(); }
  const std::vector<Group>& Groups() const override { return inner_->Groups(); }
  const std::vector<Document>& Documents() const override { return inner_->Documents(); }
  const std::vector<ReqType>& ReqTypes() const override { return inner_->ReqTypes(); }
  const ReqType* GetReqType(long key) const override { return inner_->GetReqType(key); }
  std::shared_ptr<ExtProjects> GetExtProjects() const override { return inner_->GetExtProjects(); }
  std::shared_ptr<DataServices> GetDataServices(std::string_view connectionKey) override {
    return inner_->GetDataServices(connectionKey);
  }

  // The decorated project.
  const std::shared_ptr<Project>& Inner() const { return inner_; }

 private:
  std::shared_ptr<Project> inner_;
};

}  // namespace vlq::test
