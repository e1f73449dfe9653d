// The data folder: interface files, camera files, a "Reference" sub-folder of
// camera files, and the driver's record of each board's active interface
// file. Names the driver reports are relative to this folder ("img0.iid");
// every name it takes may be relative or absolute, with '\' or '/'.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"

namespace keldsim {

class DataFolder {
 public:
  DataFolder() = default;
  explicit DataFolder(std::string root);

  // $XDG_DATA_HOME/keldsim, else $HOME/.local/share/keldsim, else
  // /tmp/keldsim-<uid>.
  static std::string DefaultRoot();

  const std::string& Root() const { return root_; }
  // The path of a name: '\' becomes '/', a relative name lies in the folder.
  std::string Resolve(std::string_view name) const;
  // The form to report and record: relative to the folder where the path lies
  // inside it, else the path as given.
  std::string Normalize(std::string_view name) const;
  // An interface file's path; ".iid" is added to a name without it.
  std::string InterfacePath(std::string_view name) const;
  // A name without a trailing ".iid".
  static std::string WithoutInterfaceExtension(std::string_view name);

  // Creates the folder where it is missing and seeds it with camera files
  // where it is empty.
  Status Prepare() const;
  // Names of the files of the folder (not its sub-folders) with this
  // extension (".iid"), sorted.
  std::vector<std::string> List(std::string_view extension) const;

 private:
  std::string root_;
};

}  // namespace keldsim
