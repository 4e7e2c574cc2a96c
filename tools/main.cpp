// zsff: the command-line host of the library. "zsff record" lays down a demo
// measurement as an analyzer would, "zsff info" lists what a measurement holds.
// Commands live in one table, so a new one is a row and a function.

#include <cstdio>
#include <cstring>

#include <zsff/Version.h>

#include "Commands.h"
#include "Interrupts.h"
#include "Verbosity.h"

namespace zsff_tools {

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {"record", "[options] DIR",
       "record a demo measurement of 8 channels at 51200 Hz into the new directory DIR",
       "  --seconds S   seconds of signal over all records (default 120)\n"
       "  --records N   number of records, the last bounded as a ring (default 3)\n"
       "  --realtime    pace the writing to the sampling rate instead of the disk's speed\n",
       RunRecord},
      {"info", "[options] DIR", "list the keys, records and channels of the measurement in DIR",
       "  --json        print the listing as JSON, for scripts\n", RunInfo},
      {"read", "[options] DIR [FILE]",
       "print or export the samples of one channel of a record, as CSV or raw floats",
       "  --record N    the record, by its position in the measurement from 1 (default 1)\n"
       "  --channel N   the channel number (default: the record's first channel)\n"
       "  --analyzer A  the analyzer of the channel (default: any)\n"
       "  --start S     seconds into the record to begin at (default 0)\n"
       "  --seconds D   seconds to read (default: to the end)\n"
       "  --recorded    the recorded units instead of volts\n"
       "  --post-analysis  the scaling of the settings saved by zsff rescale instead of volts\n"
       "  --f32, --f64  raw little-endian 32- or 64-bit floats instead of CSV (time,value)\n"
       "  FILE          where to write (default or \"-\": standard output)\n",
       RunRead},
      {"follow", "[options] DIR",
       "follow the measurement in DIR, record by record, while another process records it",
       "  --channel N   the channel number (default: the record's first channel)\n"
       "  --analyzer A  the analyzer of the channel (default: any)\n"
       "  --recorded    the recorded units instead of volts\n"
       "  --interval S  seconds between polls (default 0.2)\n"
       "  --timeout S   give up after S seconds, waiting included (default: never)\n"
       "  --stall S     give up when nothing has changed for S seconds: no recorder is at work\n"
       "                (default 10; 0: wait forever)\n",
       RunFollow},
      {"zoom", "[options] DIR",
       "print the min/max pairs a display draws of one channel over all records",
       "  --channel N   the channel number (default: the first record's first channel)\n"
       "  --analyzer A  the analyzer of the channel (default: any)\n"
       "  --start S     seconds on the records' common time axis (default 0)\n"
       "  --stop S      end of the span (default: the end of the last record)\n"
       "  --points N    at most this many (min, max) pairs (default 100)\n"
       "  --json        print the pairs as JSON instead of CSV (point,time,min,max)\n"
       "  --post-analysis  the scaling of the settings saved by zsff rescale instead of volts\n",
       RunZoom},
      {"plot", "[options] DIR",
       "draw every channel's min/max envelope over the whole measurement as a PNG or SVG picture",
       "  --out FILE    the picture, ending in .png or .svg; \"-\": standard output (default: DIR.png)\n"
       "  --format F    png or svg, whatever the picture's name (default: from its extension)\n"
       "  --width W     pixels across (default 1200)\n"
       "  --height H    pixels down (default: 110 per channel, plus the axis)\n"
       "  --channel N   only this channel number (default: every channel)\n"
       "  --analyzer A  only the channels of this analyzer (default: any)\n"
       "  --post-analysis  the scaling, names and units of the settings saved by zsff rescale\n"
       "                instead of volts and the recorded names and units\n",
       RunPlot},
      {"rescale", "[options] DIR",
       "save post-analysis settings of one channel in every record of the measurement in DIR",
       "  --channel N   the channel number (required)\n"
       "  --analyzer A  the analyzer of the channel (default: any)\n"
       "  --sensitivity X, --offset Y, --range R, --unit U, --name N\n"
       "                the values to put over the recorded ones, at least one; the recorded\n"
       "                values and the samples stay, zsff info shows both, and read, zoom and\n"
       "                plot apply the new ones with --post-analysis\n",
       RunRescale},
      {"mark", "[options] DIR TEXT", "add a marker named TEXT to a recorded measurement",
       "  --at S        seconds into the record; a negative time is the record's end\n"
       "  --duration D  seconds the marker spans (default 0)\n"
       "  --record N    the record, by its position in the measurement from 1 (default 1)\n",
       RunMark},
      {"markers", "[options] DIR", "list the markers of the measurement in DIR",
       "  --json        print the markers as JSON, for scripts\n", RunMarkers},
      {"rename", "[options] DIR NEW_NAME",
       "give the measurement directory DIR the name NEW_NAME, beside it",
       "  --comment T   also set the measurement's comment and complete it, as a host does\n"
       "                at its end: its .zff header goes\n",
       RunRename},
      {"unlock", "DIR",
       "clear the editing mark and the lock file that a program killed while changing DIR left",
       "  Only for a measurement no program is at work on: the mark has no owner, so\n"
       "  unlock takes the word of whoever runs it. A lock file is removed only once no\n"
       "  program has given it back within the library's wait (about 2 s).\n",
       RunUnlock},
      {"split", "[options] DIR",
       "make one record of the measurement in DIR two, cut at a part; no sample moves",
       "  --record N    the record, by its position in the measurement from 1 (required)\n"
       "  --parts K     parts that stay in the first of the two (required)\n",
       RunSplit},
      {"erase", "[options] DIR", "erase parts of one channel of a record: they read as zeros",
       "  --record N    the record, by its position in the measurement from 1 (default 1)\n"
       "  --channel C   the channel number (required)\n"
       "  --parts F..L  the parts, counted from the record's first from 0 (required); the\n"
       "                part being recorded is never erased\n"
       "  --yes         go ahead without asking (required when no terminal can be asked)\n",
       RunErase},
      {"delete", "[options] DIR", "delete the measurement in DIR, or one record of it",
       "  --record N    only this record, by its position in the measurement from 1\n"
       "  --yes         go ahead without asking (required when no terminal can be asked)\n",
       RunDelete},
      {"remove-channel", "[options] DIR", "remove one channel from every record of the measurement",
       "  --channel C   the channel number (required)\n"
       "  --yes         go ahead without asking (required when no terminal can be asked)\n",
       RunRemoveChannel},
      {"clean", "[options] DIR",
       "empty the measurement in DIR to record again in it: record 1 keeps its channels",
       "  --yes         go ahead without asking (required when no terminal can be asked)\n",
       RunClean},
      {"endup", "DIR",
       "repair every measurement below DIR that a recorder left unfinished when it was killed",
       "  Each is finished as its recorder would have finished it, to its last whole\n"
       "  sample; records and measurements without any sample go. A measurement that a\n"
       "  running recorder holds is left alone.\n",
       RunEndup},
      {"copy", "SRC DST",
       "copy the measurement in SRC whole into the new directory DST, as a measurement of its own",
       "  DST must be missing or empty; the host's files named after SRC take DST's name\n"
       "  (between the local disk and CephFS every file goes as it is, the lock file aside)\n",
       RunCopy},
#ifdef ZSFF_HAS_SERVE
      {"serve", "[options] DIR", "show a measurement in the browser, served on this machine",
       "  --port P      the port to listen on (default 8080; 0: any free one)\n"
       "  --bind A      the address to listen on (default 127.0.0.1: this machine only)\n",
       RunServe},
#endif
#ifdef ZSFF_HAS_SFTP
      {"upload", "[options] DIR sftp://USER@HOST[:PORT]/PATH",
       "send the measurement in DIR to the server's directory PATH, as PATH/Record_<base>",
       "  --identity F  the private key to log in with (default: the agent, then ~/.ssh's keys)\n"
       "  --known-hosts F  the file the server's key is checked against\n"
       "                (default ~/.ssh/known_hosts); an unknown or changed key is refused\n"
       "  --accept-new-host-key  trust an unknown server's key and add it to that file\n",
       RunUpload},
      {"download", "[options] sftp://USER@HOST[:PORT]/PATH/Record_<base> DIR",
       "fetch a measurement from the server into DIR; run again, it fetches only what is missing",
       "  --record N    only the records with this number\n"
       "  --identity F, --known-hosts F, --accept-new-host-key  as for zsff upload\n",
       RunDownload},
#endif
  };
  return commands;
}

const Command* FindCommand(const std::string& name) {
  for (const Command& command : Commands()) {
    if (name == command.Name) return &command;
  }
  return nullptr;
}

int Fail(const std::string& message, int code) {
  std::fprintf(stderr, "zsff: %s\n", message.c_str());
  return code;
}

int UsageError(const Command& command, const std::string& message) {
  std::fprintf(stderr, "zsff %s: %s (see zsff %s --help)\n", command.Name, message.c_str(),
               command.Name);
  return ExitUsage;
}

bool ParseDirectoryArguments(const Command& command, const std::vector<std::string>& args,
                             const std::vector<OptionRule>& rules, Arguments& arguments,
                             int& code) {
  std::string error;
  if (!arguments.Parse(args, rules, error)) {
    code = UsageError(command, error);
    return false;
  }
  if (arguments.Positional().size() != 1) {
    code = UsageError(command, arguments.Positional().empty() ? "which measurement directory?"
                                                              : "one directory at a time");
    return false;
  }
  return true;
}

namespace {

// What every command takes besides its own options.
constexpr const char* kCommonHelp =
    "  --quiet       print results and errors only, no notes on progress\n"
    "  --verbose     print the library's own diagnostics too, on standard error\n";

}  // namespace

void PrintCommandHelp(const Command& command) {
  std::printf("usage: zsff %s %s\n\n%s\n\noptions:\n%s%s", command.Name, command.Arguments,
              command.Summary, command.Help, kCommonHelp);
}

namespace {

void PrintUsage(std::FILE* out) {
  std::fprintf(out, "usage: zsff COMMAND [options] ARGS...\n\ncommands:\n");
  for (const Command& command : Commands()) {
    std::fprintf(out, "  %-8s %s\n", command.Name, command.Summary);
  }
  std::fprintf(out, "\noptions of every command:\n%s", kCommonHelp);
#ifdef ZSFF_HAS_CEPH
  std::fprintf(out,
               "\nA directory may also lie on a Ceph file system: ceph://CLIENT@CONFIG_PATH/PATH\n"
               "(CONFIG_PATH: the cluster's config file, ending in .conf).\n");
#endif
  std::fprintf(out,
               "\n\"zsff COMMAND --help\" describes a command's options;"
               " \"zsff --version\" tells the version.\n");
}

// Takes --quiet and --verbose out of the words of the command line, wherever
// they stand before "--"; false when both are given.
bool TakeVerbosity(std::vector<std::string>& args) {
  bool quiet = false;
  bool verbose = false;
  for (auto it = args.begin(); it != args.end() && *it != "--";) {
    if (*it == "--quiet" || *it == "--verbose") {
      (*it == "--quiet" ? quiet : verbose) = true;
      it = args.erase(it);
    } else {
      ++it;
    }
  }
  SetVerbosity(quiet ? VerbosityQuiet : verbose ? VerbosityVerbose : VerbosityNormal);
  return !(quiet && verbose);
}

bool IsHelp(const char* word) {
  return std::strcmp(word, "--help") == 0 || std::strcmp(word, "-h") == 0 ||
         std::strcmp(word, "help") == 0;
}

}  // namespace

}  // namespace zsff_tools

int main(int argc, char** argv) {
  using namespace zsff_tools;
  // --quiet and --verbose may also stand before the command's name.
  std::vector<std::string> words(argv + 1, argv + argc);
  if (!TakeVerbosity(words)) return Fail("--quiet and --verbose exclude each other", ExitUsage);
  if (words.empty()) {
    PrintUsage(stderr);
    return ExitUsage;
  }
  if (IsHelp(words[0].c_str())) {
    // "zsff help record" is "zsff record --help".
    if (words.size() > 1 && FindCommand(words[1]) != nullptr) {
      PrintCommandHelp(*FindCommand(words[1]));
    } else {
      PrintUsage(stdout);
    }
    return ExitOk;
  }
  if (words[0] == "--version") {
    std::printf("zsff %s\n", zsff::LibraryVersion());
    return ExitOk;
  }
  const Command* command = FindCommand(words[0]);
  if (command == nullptr) {
    std::fprintf(stderr, "zsff: unknown command \"%s\" (see zsff --help)\n", words[0].c_str());
    return ExitUsage;
  }
  const std::vector<std::string> args(words.begin() + 1, words.end());
  for (const std::string& word : args) {
    if (word == "--") break;
    if (IsHelp(word.c_str()) && word != "help") {
      PrintCommandHelp(*command);
      return ExitOk;
    }
  }
  const int code = command->Run(args);
  return code == ExitInterrupted ? InterruptedExitCode() : code;
}
