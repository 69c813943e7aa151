// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// office_handler.cpp - packages in Word and Excel documents, and a package that stands alone.
//
// The walk goes through storages, depth first: those below "ObjectPool" in a Word document, all in an Excel
// document.
//
// Kept: a storage that holds a package stream is not entered, even when that stream has none of the layouts. The
// package is dropped then, and the walk goes on after the storage.
//
// Bounds: no entry of the directory is met twice (directory_walk.h), and a step of the walk takes one; a search
// for the next member ends after a million. Damage to the directory is passed over, so that what can be reached
// is shown, and fails the walk at its end.
#include "formats/microsoft/office/office_handler.h"

#include <new>

#include "core/refuse.h"
#include "formats/microsoft/compound/compound_file.h"
#include "formats/microsoft/compound/directory_walk.h"
#include "formats/microsoft/office/office_format.h"
#include "formats/microsoft/office/package_handler.h"

namespace brix::office {

namespace {

constexpr uint32_t kMostSteps = 1000000;

class OfficeDocumentHandler final : public PackageHandler {
 public:
  using PackageHandler::PackageHandler;

  [[nodiscard]] bool OpenArchive(char* name) override {
    name[0] = '\0';
    if (!file_.Open(*read_stream_)) return false;
    if (type_id_ == kPackage) return OpenPackage(name);
    compound::Entry bottom = file_.root();
    if (type_id_ == kWord && !file_.FindInRoot(kObjectPool, compound::kStorage, &bottom)) return true;
    walk_.Begin(file_);
    walking_ = true;
    walk_.Enter(bottom);
    return NextMember(name);
  }

  [[nodiscard]] bool NextMember(char* name) override {
    name[0] = '\0';
    DropPackage();
    if (type_id_ == kPackage) return true;
    if (!walking_) return Refuse("office: no storage to walk");
    compound::Entry entry;
    for (uint32_t step = 0; walk_.Next(&entry); ++step) {
      if (step == kMostSteps) return Refuse("office: too many entries without a package");
      if (entry.type != compound::kStorage) continue;
      compound::Entry stream;
      if (walk_.EnterUnlessHolding(entry, kPackageStream, &stream) && TakePackage(file_, stream, name))
        return true;
    }
    return !walk_.damaged() || Refuse("office: the directory is damaged");
  }

 private:
  [[nodiscard]] bool OpenPackage(char* name) {
    compound::Entry stream;
    if (!file_.FindInRoot(kPackageStream, compound::kStream, &stream))
      return Refuse("office: no package stream");
    return TakePackage(file_, stream, name);
  }

  compound::CompoundFile file_;
  compound::DirectoryWalk walk_;
  bool walking_ = false;
};

}  // namespace

ArchiveHandler* CreateOfficeHandler(Stream* in, const HandlerArgs& args) {
  return new OfficeDocumentHandler(in, args.ownership, args.type_id);
}

}  // namespace brix::office
