#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/Error.h"

namespace platform {

enum class ItemKind { none, file, folder, other };

/// Attributes to set on an item; one without a value is left alone.
struct ItemAttributes {
  std::optional<bool> immutable = std::nullopt;
  std::optional<unsigned> permissions = std::nullopt;  ///< POSIX mode bits, for instance 0755
  std::optional<Date> creationDate = std::nullopt;
};

/// The file manager: queries and changes of whole items (a file, a symbolic link or a folder tree).
///
/// Queries follow symbolic links; changes act on the link itself. Errors are of the POSIX domain with a
/// description that names the path. Any thread; two changes of one item at once are the caller's to avoid.
/// The default implementation is the system's; a test derives from it to make single calls fail.
class FileManager {
 public:
  virtual ~FileManager() = default;

  /// `none` also when the path cannot be examined.
  [[nodiscard]] virtual ItemKind itemKind(const std::string& path) const;

  /// Whether the process's effective user may write to the item; false when it does not exist or lies on a
  /// read-only volume.
  [[nodiscard]] virtual bool isWritable(const std::string& path) const;

  /// The number of the file system that holds the item.
  [[nodiscard]] virtual Error fileSystemNumber(const std::string& path, std::uint64_t& number) const;

  /// The names in a folder without "." and "..", sorted bytewise.
  [[nodiscard]] virtual Error contentsOfFolder(const std::string& path,
                                               std::vector<std::string>& names) const;

  /// Creates the folder and those above it that are missing. A folder that exists already is not an error;
  /// another kind of item in its place is (EEXIST or ENOTDIR).
  [[nodiscard]] virtual Error createFolder(const std::string& path);

  /// Copies an item whole: contents, modes, times, extended attributes, links as links. Fails with EEXIST
  /// when the target exists; after any failure the target is removed again.
  [[nodiscard]] virtual Error copyItem(const std::string& from, const std::string& to);

  /// Gives an item another name on its volume, in one step. Fails with EEXIST when the target exists,
  /// whatever kind it is; with EXDEV on another volume. Whether it outlives a power cut is not its business:
  /// it is for what is not finished yet.
  [[nodiscard]] virtual Error renameItem(const std::string& from, const std::string& to);

  /// Moves a finished item. Fails with EEXIST when the target exists, whatever kind it is. Atomic on one
  /// volume; across volumes it copies beside the target, renames into place, then removes the source: the
  /// target is never seen incomplete, and the source is whole until the target is. Durable: everything in the
  /// item is on the disk before it has its new name. Once it has, the move has succeeded: what is left of the
  /// source on another volume is no failure.
  [[nodiscard]] virtual Error moveItem(const std::string& from, const std::string& to);

  /// Removes an item with everything in it, never following a link. A missing item is an error (ENOENT). A
  /// folder disappears from its path in one step, before anything in it goes; it stays when nothing of it can
  /// be removed.
  [[nodiscard]] virtual Error removeItem(const std::string& path);

  /// Makes a fresh folder in `parent` for work in progress: mode 0700, a hidden name that nobody can foresee.
  /// `folder` is its path. The caller removes it.
  [[nodiscard]] virtual Error createPrivateFolder(const std::string& parent, std::string& folder);

  /// The user's own items in the folder that are work in progress, by their names: private folders, temporary
  /// files of atomic writes, copies and removals under way. When no process of the user's is at work there
  /// they are left over. Empty also when the folder cannot be read.
  [[nodiscard]] virtual std::vector<std::string> unfinishedItems(const std::string& folder) const;

  /// Whether both paths lead to one and the same item (links are followed).
  [[nodiscard]] virtual bool isSameItem(const std::string& a, const std::string& b) const;

  /// Sets the given attributes, all that can be set, and reports the first failure. An attribute that already
  /// has the value asked for is not touched: clearing "immutable" needs no privilege when it is not set, also
  /// on a volume that does not know the flag.
  [[nodiscard]] virtual Error setAttributes(const std::string& path, const ItemAttributes& attributes);

  /// Makes a fresh folder on the volume of `destination`, for preparing an item that will replace it.
  /// `folder` is its path. The caller removes it.
  [[nodiscard]] virtual Error createReplacementFolder(const std::string& destination, std::string& folder);

  /// Puts the item at `replacement` in the place of the item at `destination` (same volume) in one atomic
  /// step: at every moment a reader finds the old item or the new one. The new item keeps its own metadata.
  /// While the exchange is under way the old item is kept beside the destination under `backupName`; it is
  /// removed after success. When there is no item at `destination` the replacement is just moved there. After
  /// a failure `destination` is what it was. Durable, as a move is.
  [[nodiscard]] virtual Error replaceItem(const std::string& destination, const std::string& replacement,
                                          const std::string& backupName);
};

/// The process's file manager, with the system's behaviour.
[[nodiscard]] FileManager& defaultFileManager();

}  // namespace platform
