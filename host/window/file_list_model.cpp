#include "host/window/file_list_model.h"

#include <algorithm>
#include <functional>

#include "host/window/paths.h"

namespace kelvo::window {
namespace {

constexpr std::size_t kMostThumbnails = 2000;  // about 20 MB

}  // namespace

FileState stateOf(host::Outcome outcome) {
  switch (outcome) {
    case host::Outcome::rewritten:
      return FileState::rewritten;
    case host::Outcome::skipped:
      return FileState::skipped;
    case host::Outcome::failed:
      return FileState::failed;
    case host::Outcome::notRun:
      return FileState::notRun;
    case host::Outcome::waiting:
      break;
  }
  return FileState::waiting;
}

QString stateText(FileState state) {
  switch (state) {
    case FileState::waiting:
      return {};
    case FileState::working:
      return QObject::tr("being adjusted");
    case FileState::rewritten:
      return QObject::tr("adjusted");
    case FileState::skipped:
      return QObject::tr("left alone");
    case FileState::failed:
      return QObject::tr("failed");
    case FileState::notRun:
      return QObject::tr("not run");
  }
  return {};
}

int FileListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(files_.size());
}

QVariant FileListModel::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
    return {};
  }
  const ListedFile& file = this->file(index.row());
  switch (role) {
    case Qt::DisplayRole:
      return fileName(file.found.path);
    case Qt::DecorationRole:
      if (!file.asked) {
        file.asked = true;
        emit pictureWanted(file.found.path);
      }
      return file.thumbnail;
    case Qt::ToolTipRole:
      return file.message.isEmpty() ? shown(file.found.path)
                                    : shown(file.found.path) + QLatin1Char('\n') + file.message;
    case Qt::AccessibleTextRole: {
      QString text = fileName(file.found.path);
      if (file.state != FileState::waiting) {
        text += QStringLiteral(", ") + stateText(file.state);
      }
      return file.message.isEmpty() ? text : text + QStringLiteral(": ") + file.message;
    }
    case kState:
      return static_cast<int>(file.state);
    case kMessage:
      return file.message;
    case kDescription:
      return file.description;
    default:
      return {};
  }
}

std::size_t FileListModel::add(const std::vector<FoundFile>& files) {
  std::vector<const FoundFile*> fresh;
  for (const FoundFile& found : files) {
    if (identities_.insert(found.identity).second) {
      fresh.push_back(&found);
    }
  }
  if (!fresh.empty()) {
    const auto first = static_cast<int>(files_.size());
    beginInsertRows({}, first, first + static_cast<int>(fresh.size()) - 1);
    for (const FoundFile* const found : fresh) {
      files_.emplace_back().found = *found;
    }
    endInsertRows();
  }
  return files.size() - fresh.size();
}

void FileListModel::remove(const QModelIndexList& rows) {
  std::vector<int> numbers;
  for (const QModelIndex& index : rows) {
    numbers.push_back(index.row());
  }
  std::ranges::sort(numbers, std::greater());
  for (std::size_t i = 0; i < numbers.size();) {
    const int last = numbers[i];
    int first = last;
    while (++i < numbers.size() && numbers[i] == first - 1) {
      first = numbers[i];
    }
    removeRows(first, last);
  }
}

void FileListModel::removeRows(int first, int last) {
  beginRemoveRows({}, first, last);
  for (int row = first; row <= last; ++row) {
    identities_.erase(file(row).found.identity);
  }
  files_.erase(files_.begin() + first, files_.begin() + last + 1);
  endRemoveRows();
}

void FileListModel::clear() {
  beginResetModel();
  files_.clear();
  identities_.clear();
  pictured_.clear();
  endResetModel();
}

std::size_t FileListModel::countOf(FileState state) const {
  return static_cast<std::size_t>(std::ranges::count(files_, state, &ListedFile::state));
}

void FileListModel::setState(int row, FileState state, const QString& message) {
  ListedFile& file = files_[static_cast<std::size_t>(row)];
  file.state = state;
  file.message = message;
  changed(row);
}

void FileListModel::setPicture(const LoadedPicture& picture) {
  const int row = rowOf(picture.path);
  if (row < 0) {
    return;
  }
  files_[static_cast<std::size_t>(row)].thumbnail = picture.image;
  files_[static_cast<std::size_t>(row)].description = picture.description;
  changed(row);
  pictured_.push_back(picture.path);
  if (pictured_.size() > kMostThumbnails) {
    const int oldest = rowOf(pictured_.front());
    pictured_.pop_front();
    if (oldest >= 0 && oldest != row) {
      files_[static_cast<std::size_t>(oldest)].thumbnail = {};
      files_[static_cast<std::size_t>(oldest)].asked = false;
    }
  }
}

int FileListModel::rowOf(const std::string& path) const {
  const auto listed = std::ranges::find_if(
      files_, [&path](const ListedFile& file) { return file.found.path == path; });
  return listed == files_.end() ? -1 : static_cast<int>(listed - files_.begin());
}

void FileListModel::dropPicture(int row) {
  files_[static_cast<std::size_t>(row)].asked = false;
  changed(row);
}

void FileListModel::changed(int row) {
  const QModelIndex index = this->index(row);
  emit dataChanged(index, index);
}

}  // namespace kelvo::window
