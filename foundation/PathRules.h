// How the local store reads paths and name patterns, kept apart from the
// system calls so the rules can be checked on plain strings.
#pragma once

#include <cstddef>
#include <string>

namespace zsff {

// An empty path, or one with an embedded NUL (which the system would cut
// short and so read as another path), names nothing.
bool IsUsablePath(const std::string& path);

// `path` made absolute against the current directory and lexically
// normalised, without touching the disk. False for an unusable path and for a
// result of 4096 characters or more.
bool MakeAbsolutePath(const std::string& path, std::string& absolute);

// As MakeAbsolutePath, then without trailing separators. False when nothing
// is left, which is what the root becomes.
bool MakeAbsoluteStrippedPath(const std::string& path, std::string& absolute);

// Length of a UTF-8 string in UTF-16 code units, the unit path limits count in.
std::size_t WideLength(const std::string& utf8);

// Whether a tree delete may touch `absoluteStripped`: not under five
// characters, so that a root or a top-level system directory is never wiped.
bool IsDeletableTree(const std::string& absoluteStripped);

// `directory`, one separator, `name`; no second separator when `directory`
// already ends in one.
std::string JoinPath(const std::string& directory, const std::string& name);

// A name that stays in its directory: not empty, not "." or "..", no
// separator. What a server lists as anything else is not followed, and a
// transfer refuses it.
bool IsPlainName(const std::string& name);

// Whether a directory entry called `name` is listed for `pattern`: '*' matches
// any run of characters, '?' one, "*.*" every name. A file also has to pass
// the five-character rule: for a pattern "*.abc" (no dot among a, b, c), a
// file name of five or more characters whose last four aren't ".abc" (ignoring
// case) is left out, so "*.zrs" never picks up "x.zrsx".
bool MatchesListPattern(const std::u16string& pattern, const std::u16string& name, bool isFile);

}  // namespace zsff
