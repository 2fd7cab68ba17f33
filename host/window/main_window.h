#pragma once

#include <QAction>
#include <QComboBox>
#include <QMainWindow>
#include <deque>
#include <string>
#include <vector>

#include "host/window/file_collector.h"
#include "host/window/file_list_model.h"
#include "host/window/file_list_view.h"
#include "host/window/notice_bar.h"
#include "host/window/panel_host.h"
#include "host/window/picture_loader.h"
#include "host/window/problem_list.h"
#include "host/window/recent_workflows.h"
#include "host/window/run_box.h"
#include "host/window/run_controller.h"
#include "host/window/workflow_file.h"

class QSplitter;

namespace kelvo::window {

// The window of `kelvo edit`: the settings panel, the list of files, the run.
class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  // `defaults`: the parameters of a new workflow.
  MainWindow(ParameterDictionary defaults, std::vector<std::string> actionDirectories);
  ~MainWindow() override;

  // Asks first if something would be lost. False if the workflow is still the old one.
  bool openWorkflow(const std::string& path);
  bool newWorkflow();
  bool save();
  bool saveAs();
  bool saveTo(const std::string& path);

  void addFiles(std::vector<std::string> names);
  void useAsPreview(const std::string& path);
  void run();

  [[nodiscard]] WorkflowFile& workflow() { return workflow_; }
  [[nodiscard]] FileListModel& files() { return files_; }
  [[nodiscard]] const std::string& previewedFile() const { return previewed_; }

 protected:
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void changeEvent(QEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QWidget* makeSettings();
  QWidget* makeFiles();
  QAction* addTo(QMenu* menu, const QString& text, const QKeySequence& shortcut, const char* name);
  void makeFileMenu();
  void makeListMenu();
  void makeRunMenu();
  void makeHelpMenu();
  void restoreGeometry();

  void finishTyping();
  bool mayDiscard();
  void showWorkflow();
  void selectAction(int index);
  void updateTitle();
  void updateActions();
  void refuse(const QString& what, const QString& why);

  void chooseFiles();
  void chooseFolder();
  void removeSelected();
  void previewSelected();
  void collected(const Collection& collection);
  void pictureLoaded(const LoadedPicture& picture);
  void previewNextCandidate();
  void listLocked(bool locked);
  [[nodiscard]] std::uint32_t thumbnailPixels() const;

  std::vector<std::string> actionDirectories_;
  WorkflowFile workflow_;
  FileListModel files_;
  FileCollector collector_;
  PictureLoader pictures_;

  NoticeBar* notice_;
  QComboBox* actionChoice_;
  PanelHost* panelHost_;
  QLabel* previewName_;
  FileListView* list_;
  RunBox* runBox_;
  ProblemList* problems_;
  QSplitter* splitter_;
  RunController* run_;
  RecentWorkflows* recent_;

  QAction* saveAction_ = nullptr;
  QAction* addFilesAction_ = nullptr;
  QAction* addFolderAction_ = nullptr;
  QAction* removeAction_ = nullptr;
  QAction* clearAction_ = nullptr;
  QAction* previewAction_ = nullptr;
  QAction* runAction_ = nullptr;
  QAction* stopAction_ = nullptr;

  std::string previewed_;               // the file in the preview; empty: the shipped picture
  std::string wanted_;                  // the one that is to be there
  std::deque<std::string> candidates_;  // to be tried while nobody has chosen one
  bool closeAfterRun_ = false;
};

}  // namespace kelvo::window
