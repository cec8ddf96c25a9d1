#ifndef PLATFORM_DESKTOP_H_
#define PLATFORM_DESKTOP_H_

#include <string>

namespace platform {

// What the desktop shows of a folder.
class Desktop {
 public:
  // NSImage initWithContentsOfFile: and NSWorkspace setIcon:forFile:options:
  // with options 0: gives `folder` the image of `iconFile` as its icon. Without
  // a usable image the folder loses its icon. True where the desktop took it.
  //
  // POSIX half: the largest PNG of the icns file goes to ".folder-icon.png" in
  // the folder and ".directory" names it (the desktop entry format of
  // freedesktop.org), so the icon outlives `iconFile`. Without a usable image
  // (no file, not a regular one, over 16 MiB, no icns, no PNG in it) these two
  // files are removed. A ".directory" of anybody else is left alone. Links are
  // followed under the owner rule of path_walk.h.
  virtual bool SetFolderIcon(const std::string& iconFile, const std::string& folder) = 0;

 protected:
  ~Desktop() = default;
};

}  // namespace platform

#endif  // PLATFORM_DESKTOP_H_
