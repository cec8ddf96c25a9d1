#ifndef PLATFORM_PATH_TEXT_H_
#define PLATFORM_PATH_TEXT_H_

#include <optional>
#include <string>
#include <string_view>

// Foundation's path rules for strings (the NSString path methods of the same
// names). Nothing but the two that standardize looks at the disk.
//
// They share one normal form: runs of "/" become one, and one trailing "/" is
// dropped unless the whole string is "/". "." and ".." are ordinary names. The
// texts are UTF-8; no value means that the platform made no string: the macOS
// half gives none for text that is not UTF-8, the POSIX half takes any bytes but
// NUL.
//
// Source: Apple's documentation of NSString, "Working with Paths".

namespace platform {

// stringByAppendingPathComponent:
//   "/tmp" + "a.txt" -> "/tmp/a.txt"    "/tmp/" + "/a" -> "/tmp/a"
//   "" + "x/" -> "x"                    "/" + "" -> "/"
[[nodiscard]] std::optional<std::string> AppendingPathComponent(std::string_view path,
                                                                std::string_view component);

// lastPathComponent: "/a/b/" -> "b", "//" -> "/", "" -> "".
[[nodiscard]] std::optional<std::string> LastPathComponent(std::string_view path);

// stringByDeletingLastPathComponent: "/a/b/" -> "/a", "/a" -> "/", "a" -> "".
[[nodiscard]] std::optional<std::string> DeletingLastPathComponent(std::string_view path);

// pathExtension: "/a/b.tar.gz" -> "gz", ".hidden" -> "", "a." -> "".
[[nodiscard]] std::optional<std::string> PathExtension(std::string_view path);

// stringByDeletingPathExtension: "/a/b.c/" -> "/a/b", "/tmp/.hidden" unchanged.
[[nodiscard]] std::optional<std::string> DeletingPathExtension(std::string_view path);

// stringByAppendingPathExtension: "dir/" + "txt" -> "dir.txt", "a.b" + "c" ->
// "a.b.c", "a" + "" -> "a". No value for an empty path, for "/", and for an
// extension that begins with "/".
[[nodiscard]] std::optional<std::string> AppendingPathExtension(std::string_view path,
                                                                std::string_view extension);

// stringByStandardizingPath: expands a leading "~" or "~user", brings the text
// to normal form, removes ".." from an absolute path (by the real parents
// where everything exists, textually otherwise), inner "/./", and one prefix of
// "/private/var/automount", "/var/automount" or "/private" where the shortened
// path exists. Links are not resolved otherwise.
[[nodiscard]] std::optional<std::string> StandardizingPath(std::string_view path);

// The path of the running program or of its bundle, in the one form in which two
// of them can be compared: `StandardizingPath` on macOS. The POSIX half expands no
// "~" and takes off no prefix: on Linux "/private/bin" and "/bin" are two folders.
[[nodiscard]] std::optional<std::string> StandardizingProgramPath(std::string_view path);

}  // namespace platform

#endif  // PLATFORM_PATH_TEXT_H_
