#pragma once

#include <QObject>
#include <QString>
#include <QThreadPool>
#include <atomic>
#include <cstddef>
#include <string>
#include <vector>

namespace kelvo::window {

struct FoundFile {
  std::string path;
  std::string identity;  // the name without symbolic links: one a file
};

// What has become of one handful of names.
struct Collection {
  std::vector<FoundFile> files;
  std::vector<QString> refused;  // "NAME: why", for what was named itself and for folders
  std::size_t passedOver = 0;    // files in folders that are no photographs
};

// Finds the photographs among names of files and folders, away from the user interface. A file's
// first bytes decide. Folders are walked to the bottom, in the order of the names; hidden entries
// and links to folders in them are passed over.
class FileCollector : public QObject {
  Q_OBJECT

 public:
  explicit FileCollector(QObject* parent = nullptr);
  ~FileCollector() override;

  void collect(std::vector<std::string> names);

 signals:
  // One for each collect(), in their order.
  void collected(const kelvo::window::Collection& collection);

 private:
  std::atomic<bool> stopped_ = false;
  QThreadPool pool_;
};

// The work itself. Gives up with what it has when `stopped` is set.
Collection collectFiles(const std::vector<std::string>& names, const std::atomic<bool>& stopped);

}  // namespace kelvo::window
