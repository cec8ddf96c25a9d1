#ifndef PLATFORM_DESKTOP_H_
#define PLATFORM_DESKTOP_H_

#include <cstddef>
#include <string>

namespace platform {

// The size of the largest icon file that is read.
inline constexpr std::size_t kMaxIconFileBytes = std::size_t{16} << 20;

// What the desktop shows of a folder.
class Desktop {
 public:
  // Gives `folder` the image of `iconFile` as its icon. (On macOS: initWithData:
  // of NSImage and setIcon:forFile:options: of NSWorkspace, with options 0.)
  // Without a usable image the folder loses its icon; a file that is missing,
  // not a regular one, too large or not to be read has none. Links to it are
  // followed under the owner rule of path_walk.h. True where the desktop took it.
  //
  // POSIX half: the largest PNG of the icns file goes to ".folder-icon.png" in
  // the folder and ".directory" names it (the desktop entry format of
  // freedesktop.org), so the icon outlives `iconFile`. Without a usable image
  // (also: no icns, no PNG in it) these two files are removed. A ".directory" of
  // anybody else is left alone. Links to the folder are followed under that rule,
  // too.
  virtual bool SetFolderIcon(const std::string& iconFile, const std::string& folder) = 0;

 protected:
  ~Desktop() = default;
};

}  // namespace platform

#endif  // PLATFORM_DESKTOP_H_
