#include "platform/linux/ApplicationDatabase.h"

#include <sqlite3.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>

#include "platform/FileManager.h"
#include "platform/Path.h"
#include "platform/linux/FileLock.h"

namespace platform::applications {
namespace {

constexpr std::chrono::milliseconds kBusyLimit{5'000};
constexpr int kFormVersion = 1;
constexpr const char* kCreate =
    "CREATE TABLE applications("
    "position INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE, device INTEGER NOT NULL,"
    "inode INTEGER NOT NULL, list_device INTEGER NOT NULL, list_inode INTEGER NOT NULL,"
    "list_modified INTEGER NOT NULL, list_changed INTEGER NOT NULL, list_size INTEGER NOT NULL,"
    "identifier TEXT NOT NULL, version TEXT NOT NULL, schemes TEXT NOT NULL);"
    "PRAGMA user_version=1";
constexpr const char* kSelect =
    "SELECT path, device, inode, list_device, list_inode, list_modified, list_changed, list_size,"
    "identifier, version, schemes FROM applications ORDER BY position";
constexpr const char* kInsert =
    "INSERT INTO applications(path, device, inode, list_device, list_inode, list_modified, list_changed,"
    "list_size, identifier, version, schemes) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";

DatabaseStatus statusOf(int code) {
  switch (code & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return DatabaseStatus::ok;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR:  // a statement that does not fit what is in the file
      return DatabaseStatus::corrupt;
    default:
      return DatabaseStatus::unavailable;
  }
}

/// Names of schemes hold no line feed.
std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const auto& line : lines)
    text += line + "\n";
  return text;
}

std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t begin = 0;
  for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

class Statement {
 public:
  Statement(sqlite3* database, const char* text) : _handle(nullptr, &sqlite3_finalize) {
    sqlite3_stmt* handle = nullptr;
    _code = sqlite3_prepare_v2(database, text, -1, &handle, nullptr);
    _handle.reset(handle);
  }

  /// Whether there is a row; `code` tells then why not.
  bool step() {
    if (_handle) _code = sqlite3_step(_handle.get());
    return _code == SQLITE_ROW;
  }
  [[nodiscard]] int code() const { return _code; }
  void reset() {
    sqlite3_reset(_handle.get());
    _column = 0;
  }

  void bind(const std::string& text) {
    sqlite3_bind_text(_handle.get(), ++_column, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
  }
  void bind(std::int64_t number) { sqlite3_bind_int64(_handle.get(), ++_column, number); }
  void bind(std::uint64_t number) { bind(static_cast<std::int64_t>(number)); }

  [[nodiscard]] std::string text(int column) const {
    const void* bytes = sqlite3_column_blob(_handle.get(), column);
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(_handle.get(), column));
    return bytes == nullptr ? std::string() : std::string(static_cast<const char*>(bytes), size);
  }
  [[nodiscard]] std::int64_t number(int column) const { return sqlite3_column_int64(_handle.get(), column); }
  [[nodiscard]] std::uint64_t unsignedNumber(int column) const {
    return static_cast<std::uint64_t>(number(column));
  }

 private:
  std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> _handle;
  int _code = SQLITE_OK;
  int _column = 0;
};

Application applicationOf(const Statement& row) {
  Application application;
  application.path = row.text(0);
  application.identity = {row.unsignedNumber(1), row.unsignedNumber(2)};
  application.information = {
      {row.unsignedNumber(3), row.unsignedNumber(4)}, row.number(5), row.number(6), row.number(7)};
  application.identifier = row.text(8);
  application.version = row.text(9);
  application.schemes = split(row.text(10));
  return application;
}

void bindApplication(const Application& application, Statement& statement) {
  const Fingerprint& information = application.information;
  statement.bind(application.path);
  statement.bind(application.identity.device);
  statement.bind(application.identity.inode);
  statement.bind(information.identity.device);
  statement.bind(information.identity.inode);
  statement.bind(information.modified);
  statement.bind(information.changed);
  statement.bind(information.size);
  statement.bind(application.identifier);
  statement.bind(application.version);
  statement.bind(joined(application.schemes));
}

/// One connection. An open transaction ends, without effect, with the connection.
class Database {
 public:
  Database(const std::string& path, int flags) : _handle(nullptr, &sqlite3_close) {
    sqlite3* handle = nullptr;
    _status = statusOf(sqlite3_open_v2(path.c_str(), &handle, flags, nullptr));
    _handle.reset(handle);
    if (handle != nullptr) sqlite3_busy_timeout(handle, static_cast<int>(kBusyLimit.count()));
  }

  DatabaseStatus load(std::vector<Application>& applications) {
    int version = 0;
    if (!readVersion(version) || version == 0) return _status;
    if (version != kFormVersion) return DatabaseStatus::unavailable;
    Statement rows(_handle.get(), kSelect);
    std::vector<Application> found;
    while (rows.step())
      found.push_back(applicationOf(rows));
    _status = statusOf(rows.code());
    if (_status == DatabaseStatus::ok) applications = std::move(found);
    return _status;
  }

  DatabaseStatus update(const Update& change) {
    std::vector<Application> applications;
    if (!run("BEGIN IMMEDIATE") || load(applications) != DatabaseStatus::ok) return failure();
    if (!change(applications)) return DatabaseStatus::ok;
    int version = 0;
    if (!readVersion(version) || (version == 0 && !run(kCreate))) return _status;
    if (run("DELETE FROM applications") && insert(applications)) run("COMMIT");
    return _status;
  }

 private:
  bool run(const char* statements) {
    if (_status != DatabaseStatus::ok) return false;
    _status = statusOf(sqlite3_exec(_handle.get(), statements, nullptr, nullptr, nullptr));
    return _status == DatabaseStatus::ok;
  }

  /// The failure of a load that may have refused a sound database.
  [[nodiscard]] DatabaseStatus failure() const {
    return _status == DatabaseStatus::ok ? DatabaseStatus::unavailable : _status;
  }

  /// 0 for a database without anything in it.
  bool readVersion(int& version) {
    if (_status != DatabaseStatus::ok) return false;
    Statement statement(_handle.get(), "PRAGMA user_version");
    if (statement.step()) version = static_cast<int>(statement.number(0));
    _status = statusOf(statement.code());
    return _status == DatabaseStatus::ok;
  }

  bool insert(const std::vector<Application>& applications) {
    Statement statement(_handle.get(), kInsert);
    for (const auto& application : applications) {
      bindApplication(application, statement);
      statement.step();
      if (statement.code() != SQLITE_DONE) {
        _status = statusOf(statement.code());
        return false;
      }
      statement.reset();
    }
    return true;
  }

  std::unique_ptr<sqlite3, int (*)(sqlite3*)> _handle;
  DatabaseStatus _status = DatabaseStatus::ok;
};

DatabaseStatus tryUpdate(const std::string& path, const Update& update) {
  return Database(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE).update(update);
}

/// Another process may have set the same database aside already: the one that is there now is looked at
/// again under the lock.
void setAside(const std::string& path) {
  const FileLock lock(path);
  std::vector<Application> ignored;
  if (!lock.isHeld() || loadApplications(path, ignored) != DatabaseStatus::corrupt) return;
  if (rename(path.c_str(), (path + ".corrupt").c_str()) == 0) unlink((path + "-journal").c_str());
}

}  // namespace

DatabaseStatus loadApplications(const std::string& path, std::vector<Application>& applications) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR)) return DatabaseStatus::ok;
  return Database(path, SQLITE_OPEN_READWRITE).load(applications);
}

bool updateApplications(const std::string& path, const Update& update) {
  if (defaultFileManager().createFolder(parentFolder(path)).failed()) return false;
  DatabaseStatus status = tryUpdate(path, update);
  if (status == DatabaseStatus::corrupt) {
    setAside(path);
    status = tryUpdate(path, update);
  }
  return status == DatabaseStatus::ok;
}

}  // namespace platform::applications
