// Refusals of the hub's store; nothing has changed.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace tidra {

class HubStoreError : public std::runtime_error {
 public:
  enum class Kind {
    badName,     // of a policy
    nameTaken,   // a new host's file name belongs to another host
    folderInUse  // by another hub
  };

  static HubStoreError badName(std::string_view name);
  static HubStoreError nameTaken(std::string_view host, std::string_view file, std::string_view owner);
  static HubStoreError folderInUse(std::string_view folder);

  Kind kind() const { return kind_; }

 private:
  HubStoreError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}

  Kind kind_;
};

}  // namespace tidra
