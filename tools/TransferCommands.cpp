// zsff upload and zsff download: a measurement sent to a directory of an SFTP
// server, where it lies as "Record_<base>" as on an analyzer's disk, and fetched
// back. The server's key is checked against the known-hosts file; the user is
// authenticated by the agent or a key, never a password. Ctrl-C stops a
// download between two blocks: what was fetched whole stays, and the same
// command run again fetches only the rest.

#include <zsff/RecordSignalTree.h>
#include <zsff/SftpFileAccess.h>

#include <cstdio>
#include <filesystem>
#include <set>

#include "Arguments.h"
#include "Commands.h"
#include "DirectorySize.h"
#include "Interrupts.h"
#include "OpenTree.h"
#include "TransferProgress.h"
#include "Verbosity.h"
#include "WidePath.h"
#include "foundation/TextConversion.h"

namespace fs = std::filesystem;

namespace zsff_tools {

namespace {

const std::vector<OptionRule> kServerOptions = {
    {"known-hosts", true}, {"identity", true}, {"accept-new-host-key", false}};

// A connected store on `location`, whose progress goes to `progress` and which
// stops at Ctrl-C; null with the reason in `error`.
std::shared_ptr<zsff::CSftpFileAccess> Connect(const zsff::SftpLocation& location,
                                               const Arguments& arguments,
                                               TransferProgress& progress, std::string& error) {
  zsff::SftpOptions options;
  options.KnownHostsFile = arguments.Value("known-hosts");
  options.IdentityFile = arguments.Value("identity");
  options.AcceptNewHostKey = arguments.Has("accept-new-host-key");
  auto store = std::make_shared<zsff::CSftpFileAccess>(location, options);
  if (!store->Connect()) {
    error = store->LastErrorText();
    return nullptr;
  }
  store->SetProgressCallback([&progress](unsigned long long bytes, unsigned long long announced) {
    progress.SetTotal(announced);
    progress.Add(bytes);
    return !Interrupted();
  });
  return store;
}

bool ParseServer(const Command& command, const std::string& url, zsff::SftpLocation& location,
                 int& code) {
  std::string error;
  if (zsff::SftpLocation::Parse(url, location, error)) return true;
  code = UsageError(command, error);
  return false;
}

}  // namespace

int RunUpload(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("upload");
  Arguments arguments;
  std::string error;
  if (!arguments.Parse(args, kServerOptions, error)) return UsageError(command, error);
  if (arguments.Positional().size() != 2)
    return UsageError(command, "wants the measurement directory and the server's address");
  const fs::path directory = MeasurementDirectory(arguments.Positional()[0]);
  zsff::SftpLocation location;
  int code = ExitOk;
  if (!ParseServer(command, arguments.Positional()[1], location, code)) return code;
  if (!OpenForReading(directory, error)) return Fail(error);

  std::u16string parent, name;
  if (!ToWideParentAndName(directory, parent, name, error)) return Fail(error);
  CatchInterrupts();
  TransferProgress progress("uploading", BytesUnder(directory));
  std::shared_ptr<zsff::CSftpFileAccess> store = Connect(location, arguments, progress, error);
  if (!store) return Fail(error);
  auto tree = zsff::CRecordSignalTree::OpenSignalTree(parent, name,
                                                      zsff::CRecordSignalTree::TreeOpenRead, store,
                                                      true, u"", false);
  const bool uploaded = tree && tree->UploadRecords(0);
  progress.Clear();
  if (Interrupted())
    return Fail("interrupted; zsff upload sends the measurement again", InterruptedExitCode());
  if (!uploaded)
    return Fail(directory.string() + " can't be uploaded to " + location.ToUrl() + ": " +
                (store->LastErrorText().empty() ? "refused" : store->LastErrorText()));
  if (Chatty())
    std::printf("uploaded %s to %s/%s: %s\n", directory.string().c_str(), location.ToUrl().c_str(),
                zsff::WideToUtf8(tree->RecordNameBase()).c_str(), progress.Summary().c_str());
  return ExitOk;
}

int RunDownload(const std::vector<std::string>& args) {
  const Command& command = *FindCommand("download");
  Arguments arguments;
  std::string error;
  std::vector<OptionRule> rules = kServerOptions;
  rules.push_back({"record", true});
  if (!arguments.Parse(args, rules, error)) return UsageError(command, error);
  if (arguments.Positional().size() != 2)
    return UsageError(command, "wants the server's address and the local directory");
  long long record = 0;
  if (!arguments.GetInteger("record", 1, 65535, record, error)) return UsageError(command, error);
  zsff::SftpLocation location;
  int code = ExitOk;
  if (!ParseServer(command, arguments.Positional()[0], location, code)) return code;
  // The server's directory of the measurement is named after its base, as the
  // library names it on a store; its parent is the store.
  const fs::path remote(location.Path);
  const std::string remoteName = remote.filename().string();
  if (zsff::CRecordId(zsff::CRecordId::RecordNameToId(zsff::Utf8ToWide(remoteName))).RecordBase() ==
      0)
    return UsageError(command, "the address names no measurement directory (Record_<base>): " +
                                   location.ToUrl());
  location.Path = remote.parent_path().string();

  const fs::path directory = MeasurementDirectory(arguments.Positional()[1]);
  std::error_code ec;
  fs::create_directory(directory, ec);
  if (ec) return Fail(directory.string() + ": " + ec.message());
  std::u16string parent, name;
  if (!ToWideParentAndName(directory, parent, name, error)) return Fail(error);
  CatchInterrupts();
  TransferProgress progress("downloading", 0);
  std::shared_ptr<zsff::CSftpFileAccess> store = Connect(location, arguments, progress, error);
  if (!store) return Fail(error);
  auto tree = zsff::CRecordSignalTree::OpenSignalTree(
      parent, name, zsff::CRecordSignalTree::TreeOpenRead, store, true,
      zsff::Utf8ToWide(remoteName), false);
  std::vector<std::u16string> messages;
  std::set<unsigned int> codes;
  const bool downloaded =
      tree && tree->DownloadRecords(messages, codes, false, static_cast<unsigned int>(record));
  progress.Clear();
  if (Interrupted())
    return Fail("interrupted; the same zsff download fetches the rest", InterruptedExitCode());
  for (const std::u16string& message : messages)
    std::fprintf(stderr, "zsff download: %s\n", zsff::WideToUtf8(message).c_str());
  if (!downloaded)
    return Fail(location.ToUrl() + "/" + remoteName + " can't be downloaded" +
                (store->LastErrorText().empty() ? std::string() : ": " + store->LastErrorText()));
  if (Chatty())
    std::printf("downloaded %s/%s to %s: %s\n", location.ToUrl().c_str(), remoteName.c_str(),
                directory.string().c_str(), progress.Summary().c_str());
  return ExitOk;
}

}  // namespace zsff_tools
