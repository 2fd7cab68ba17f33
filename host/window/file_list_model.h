#pragma once

#include <QAbstractListModel>
#include <QImage>
#include <QString>
#include <cstddef>
#include <deque>
#include <string>
#include <unordered_set>
#include <vector>

#include "host/run/records.h"
#include "host/window/file_collector.h"
#include "host/window/picture_loader.h"

namespace kelvo::window {

// How a file of the list stands.
enum class FileState { waiting, working, rewritten, skipped, failed, notRun };

FileState stateOf(host::Outcome outcome);
// In a word or two.
QString stateText(FileState state);

// The files that a run works on, each once, in the order in which they came.
class FileListModel : public QAbstractListModel {
  Q_OBJECT

 public:
  enum Role { kState = Qt::UserRole, kMessage, kDescription };

  // Side of a thumbnail in device-independent pixels.
  static constexpr int kThumbnailSide = 48;

  using QAbstractListModel::QAbstractListModel;

  [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
  [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;

  // How many were in the list already.
  std::size_t add(const std::vector<FoundFile>& files);
  void remove(const QModelIndexList& rows);
  void clear();

  [[nodiscard]] const std::string& path(int row) const { return file(row).found.path; }
  [[nodiscard]] FileState state(int row) const { return file(row).state; }
  [[nodiscard]] const QString& message(int row) const { return file(row).message; }
  [[nodiscard]] std::size_t countOf(FileState state) const;
  void setState(int row, FileState state, const QString& message = {});
  void setPicture(const LoadedPicture& picture);
  // The file is another one now: its thumbnail is made anew.
  void dropPicture(int row);

 signals:
  // A row is shown for the first time, and so its picture.
  void pictureWanted(const std::string& path) const;

 private:
  struct ListedFile {
    FoundFile found;
    FileState state = FileState::waiting;
    QString message;
    QImage thumbnail;
    QString description;
    mutable bool asked = false;
  };

  [[nodiscard]] const ListedFile& file(int row) const {
    return files_[static_cast<std::size_t>(row)];
  }
  void removeRows(int first, int last);
  [[nodiscard]] int rowOf(const std::string& path) const;
  void changed(int row);

  std::vector<ListedFile> files_;
  std::unordered_set<std::string> identities_;
  std::deque<std::string> pictured_;  // paths of the files that have a thumbnail, oldest first
};

}  // namespace kelvo::window
