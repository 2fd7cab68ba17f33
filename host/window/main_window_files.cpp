// The list of files and the preview's picture.
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QMimeData>
#include <QTimer>
#include <cmath>
#include <utility>

#include "host/window/main_window.h"
#include "host/window/paths.h"

namespace kelvo::window {
namespace {

constexpr std::uint32_t kSampleSide = 640;  // of the preview's picture, in its own pixels
constexpr std::size_t kMostCandidates = 8;

}  // namespace

void MainWindow::addFiles(std::vector<std::string> names) {
  if (!names.empty()) {
    collector_.collect(std::move(names));
  }
}

void MainWindow::chooseFiles() {
  std::vector<std::string> names;
  for (const QString& name : QFileDialog::getOpenFileNames(this, tr("Add Files"))) {
    names.push_back(bytesOf(name));
  }
  addFiles(std::move(names));
}

void MainWindow::chooseFolder() {
  const QString folder = QFileDialog::getExistingDirectory(this, tr("Add Folder"));
  if (!folder.isEmpty()) {
    addFiles({bytesOf(folder)});
  }
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls()) {
    event->acceptProposedAction();
  }
}

void MainWindow::dropEvent(QDropEvent* event) {
  std::vector<std::string> names;
  QStringList elsewhere;
  for (const QUrl& url : event->mimeData()->urls()) {
    std::string path = pathOf(url);
    if (path.empty()) {
      elsewhere += url.toDisplayString() + tr(": it is not on this computer");
    } else {
      names.push_back(std::move(path));
    }
  }
  event->acceptProposedAction();
  if (!elsewhere.isEmpty()) {
    notice_->tell(tr("Not added:"), elsewhere);
  }
  if (names.size() == 1 && names.front().ends_with(".kelvo")) {
    // The source of the drop waits for this to return; it need not wait for an answer to a
    // question.
    QTimer::singleShot(0, this, [this, path = names.front()] { openWorkflow(path); });
    return;
  }
  addFiles(std::move(names));
}

void MainWindow::collected(const Collection& collection) {
  if (run_->running()) {
    notice_->tell(tr("Files cannot be added during a run. Nothing was added."));
    return;
  }
  const std::size_t twice = files_.add(collection.files);
  QStringList details(collection.refused.begin(), collection.refused.end());
  if (collection.passedOver > 0) {
    details += collection.passedOver == 1
                   ? tr("one file in a folder, which is no photograph")
                   : tr("%1 files in folders, which are no photographs").arg(collection.passedOver);
  }
  if (twice > 0) {
    details += twice == 1 ? tr("one file that is in the list already")
                          : tr("%1 files that are in the list already").arg(twice);
  }
  if (!details.isEmpty()) {
    notice_->tell(tr("Not added:"), details);
  }
  if (previewed_.empty() && wanted_.empty()) {
    for (const FoundFile& file : collection.files) {
      if (candidates_.size() < kMostCandidates) {
        candidates_.push_back(file.path);
      }
    }
    previewNextCandidate();
  }
}

void MainWindow::removeSelected() {
  const QModelIndexList rows = list_->selectionModel()->selectedIndexes();
  if (rows.isEmpty() || run_->running()) {
    return;
  }
  const int first = rows.constFirst().row();
  files_.remove(rows);
  // The keyboard goes on from there.
  list_->setCurrentIndex(files_.index(std::min(first, files_.rowCount() - 1)));
}

void MainWindow::previewSelected() {
  const QModelIndex current = list_->currentIndex();
  if (current.isValid()) {
    useAsPreview(files_.path(current.row()));
  }
}

void MainWindow::useAsPreview(const std::string& path) {
  candidates_.clear();
  wanted_ = path;
  pictures_.request(path, kSampleSide);
}

// The first of the files that can be adjusted is what people see first.
void MainWindow::previewNextCandidate() {
  if (candidates_.empty()) {
    wanted_.clear();
    return;
  }
  wanted_ = candidates_.front();
  pictures_.request(wanted_, kSampleSide);
}

void MainWindow::pictureLoaded(const LoadedPicture& picture) {
  if (picture.longerSide != kSampleSide) {
    files_.setPicture(picture);
    return;
  }
  if (picture.path != wanted_) {
    return;  // another one has been chosen meanwhile
  }
  if (!picture.image.isNull() && picture.adjustable) {
    candidates_.clear();
    wanted_.clear();
    previewed_ = picture.path;
    panelHost_->showSample(picture.image);
    previewName_->setText(
        tr("Preview: %1. Hold B to see it as it is.").arg(fileName(picture.path)));
    previewName_->setToolTip(shown(picture.path));
    return;
  }
  if (!candidates_.empty()) {
    candidates_.pop_front();
    previewNextCandidate();
    return;
  }
  wanted_.clear();
  const QString why =
      picture.image.isNull() ? picture.failure : tr("only RGB photographs can be adjusted");
  notice_->tell(tr("“%1” cannot be the preview's picture: %2").arg(shown(picture.path), why));
}

std::uint32_t MainWindow::thumbnailPixels() const {
  return static_cast<std::uint32_t>(std::ceil(FileListModel::kThumbnailSide * devicePixelRatioF()));
}

}  // namespace kelvo::window
