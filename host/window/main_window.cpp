#include "host/window/main_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSettings>
#include <QSplitter>
#include <QVBoxLayout>
#include <utility>

#include "host/run/run_plan.h"
#include "host/window/paths.h"
#include "platform/foundation/ns_bundle.h"

namespace kelvo::window {
namespace {

const QLatin1String kGeometry("window/geometry");
const QLatin1String kSplitter("window/rows");

QString workflowFilter() { return QObject::tr("Kelvo workflows (*.kelvo)"); }

}  // namespace

MainWindow::MainWindow(ParameterDictionary defaults, std::vector<std::string> actionDirectories)
    : actionDirectories_(std::move(actionDirectories)),
      workflow_(host::kActionName, std::move(defaults)),
      notice_(new NoticeBar),
      actionChoice_(new QComboBox),
      panelHost_(new PanelHost(workflow_.parameters())),
      previewName_(new QLabel),
      list_(new FileListView),
      runBox_(new RunBox),
      problems_(new ProblemList),
      splitter_(new QSplitter(Qt::Vertical)),
      run_(new RunController(files_, *runBox_, *problems_, actionDirectories_, this)),
      recent_(new RecentWorkflows(this)) {
  auto* const central = new QWidget;
  auto* const layout = new QVBoxLayout(central);
  layout->addWidget(notice_);
  layout->addWidget(splitter_, 1);
  // Photographs are mostly wider than high, so the pictures get the whole width.
  splitter_->addWidget(makeSettings());
  splitter_->addWidget(makeFiles());
  splitter_->addWidget(problems_);
  splitter_->setStretchFactor(0, 2);
  splitter_->setStretchFactor(1, 1);
  splitter_->setSizes({430, 270, 120});
  splitter_->setChildrenCollapsible(false);
  problems_->hide();
  setCentralWidget(central);
  setAcceptDrops(true);
  makeFileMenu();
  makeListMenu();
  makeRunMenu();
  makeHelpMenu();

  if (const auto path = findBundle(actionDirectories_, host::kActionName)) {
    if (auto bundle = NSBundle::bundleWithPath(*path)) panelHost_->setBundle(*bundle);
  }
  connect(panelHost_, &PanelHost::parametersChanged, this, &MainWindow::updateTitle);
  connect(actionChoice_, &QComboBox::activated, this, &MainWindow::selectAction);
  connect(&collector_, &FileCollector::collected, this, &MainWindow::collected);
  connect(&pictures_, &PictureLoader::loaded, this, &MainWindow::pictureLoaded);
  connect(&files_, &FileListModel::pictureWanted, this,
          [this](const std::string& path) { pictures_.request(path, thumbnailPixels()); });
  for (const auto signal : {&FileListModel::rowsInserted, &FileListModel::rowsRemoved}) {
    connect(&files_, signal, this, &MainWindow::updateActions);
  }
  connect(&files_, &FileListModel::modelReset, this, &MainWindow::updateActions);
  connect(list_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
          &MainWindow::updateActions);
  connect(list_, &QListView::activated, this, &MainWindow::previewSelected);
  connect(recent_, &RecentWorkflows::chosen, this, &MainWindow::openWorkflow);
  connect(runBox_, &RunBox::runRequested, this, &MainWindow::run);
  connect(runBox_, &RunBox::stopRequested, run_, &RunController::stop);
  connect(run_, &RunController::started, this, [this] { listLocked(true); });
  connect(run_, &RunController::ended, this, [this] {
    listLocked(false);
    if (std::exchange(closeAfterRun_, false)) {
      close();
    }
  });
  qApp->installEventFilter(this);
  restoreGeometry();
  showWorkflow();
  updateActions();
}

MainWindow::~MainWindow() { delete run_; }

QWidget* MainWindow::makeSettings() {
  auto* const settings = new QWidget;
  auto* const layout = new QVBoxLayout(settings);
  layout->setContentsMargins(0, 0, 0, 0);
  actionChoice_->setObjectName(QStringLiteral("actionChoice"));
  actionChoice_->setAccessibleName(tr("Action of the workflow to edit"));
  actionChoice_->setToolTip(tr("The action of the workflow that the settings below belong to"));
  layout->addWidget(actionChoice_);
  layout->addWidget(panelHost_, 1);
  layout->addWidget(previewName_);
  previewName_->setObjectName(QStringLiteral("previewName"));
  previewName_->setTextFormat(Qt::PlainText);
  previewName_->setContentsMargins(12, 0, 0, 0);
  previewName_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  previewName_->setText(tr("Hold B to see the picture as it is."));
  return settings;
}

QWidget* MainWindow::makeFiles() {
  auto* const files = new QWidget;
  auto* const layout = new QHBoxLayout(files);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(12);
  layout->addWidget(list_, 3);
  layout->addWidget(runBox_, 2);
  list_->setModel(&files_);
  return files;
}

QAction* MainWindow::addTo(QMenu* menu, const QString& text, const QKeySequence& shortcut,
                           const char* name) {
  QAction* const action = menu->addAction(text);
  action->setShortcut(shortcut);
  action->setObjectName(QLatin1String(name));
  return action;
}

void MainWindow::makeFileMenu() {
  QMenu* const menu = menuBar()->addMenu(tr("&File"));
  connect(addTo(menu, tr("&New Workflow"), QKeySequence::New, "new"), &QAction::triggered, this,
          &MainWindow::newWorkflow);
  connect(addTo(menu, tr("&Open Workflow…"), QKeySequence::Open, "open"), &QAction::triggered, this,
          [this] {
            const QString path =
                QFileDialog::getOpenFileName(this, tr("Open Workflow"), {}, workflowFilter());
            if (!path.isEmpty()) {
              openWorkflow(bytesOf(path));
            }
          });
  menu->addMenu(recent_);
  menu->addSeparator();
  saveAction_ = addTo(menu, tr("&Save Workflow"), QKeySequence::Save, "save");
  connect(saveAction_, &QAction::triggered, this, &MainWindow::save);
  connect(addTo(menu, tr("Save Workflow &As…"), QKeySequence(tr("Ctrl+Shift+S")), "saveAs"),
          &QAction::triggered, this, &MainWindow::saveAs);
  menu->addSeparator();
  addFilesAction_ = addTo(menu, tr("Add &Files…"), QKeySequence(tr("Ctrl+Shift+O")), "addFiles");
  connect(addFilesAction_, &QAction::triggered, this, &MainWindow::chooseFiles);
  addFolderAction_ = addTo(menu, tr("Add Fol&der…"), QKeySequence(tr("Ctrl+Shift+D")), "addFolder");
  connect(addFolderAction_, &QAction::triggered, this, &MainWindow::chooseFolder);
  menu->addSeparator();
  connect(addTo(menu, tr("&Quit"), QKeySequence(tr("Ctrl+Q")), "quit"), &QAction::triggered, this,
          &QWidget::close);
}

void MainWindow::makeListMenu() {
  QMenu* const menu = menuBar()->addMenu(tr("&List"));
  previewAction_ = addTo(menu, tr("Use as &Preview"), {}, "preview");
  connect(previewAction_, &QAction::triggered, this, &MainWindow::previewSelected);
  removeAction_ = addTo(menu, tr("&Remove from List"), QKeySequence::Delete, "remove");
  removeAction_->setShortcutContext(Qt::WidgetShortcut);
  connect(removeAction_, &QAction::triggered, this, &MainWindow::removeSelected);
  clearAction_ = addTo(menu, tr("&Clear List"), QKeySequence(tr("Ctrl+Shift+Del")), "clear");
  connect(clearAction_, &QAction::triggered, this, [this] {
    pictures_.forget(thumbnailPixels());
    files_.clear();
  });
  list_->addActions({previewAction_, removeAction_, clearAction_});
  list_->setContextMenuPolicy(Qt::ActionsContextMenu);
}

void MainWindow::makeRunMenu() {
  QMenu* const menu = menuBar()->addMenu(tr("&Run"));
  runAction_ = addTo(menu, tr("&Run over the Files"), QKeySequence(tr("Ctrl+R")), "runFiles");
  connect(runAction_, &QAction::triggered, this, &MainWindow::run);
  stopAction_ = addTo(menu, tr("&Stop"), QKeySequence(Qt::Key_Escape), "stopRun");
  connect(stopAction_, &QAction::triggered, run_, &RunController::stop);
  menu->addSeparator();
  QAction* const copyAction = addTo(menu, tr("&Copy What Failed"), {}, "copyProblems");
  connect(copyAction, &QAction::triggered, problems_, &ProblemList::copy);
}

void MainWindow::makeHelpMenu() {
  QMenu* const menu = menuBar()->addMenu(tr("&Help"));
  connect(addTo(menu, tr("&Keys"), QKeySequence::HelpContents, "keys"), &QAction::triggered, this,
          [this] {
            QMessageBox::information(
                this, tr("Keys"),
                tr("Tab and Shift+Tab go from control to control; arrow keys move a slider by one, "
                   "Page Up and Page Down by more.\n\n"
                   "Hold B: the picture as it is, in place of the adjusted one\n"
                   "Enter in the list: the file becomes the preview's picture\n"
                   "Delete in the list: takes the file out of the list, not from the disk\n"
                   "Ctrl+R: runs the workflow over the files\n"
                   "Esc: stops the run after the files being worked on; once more: at once"));
          });
  connect(addTo(menu, tr("&About Kelvo"), {}, "about"), &QAction::triggered, this, [this] {
    QMessageBox::about(this, tr("About Kelvo"),
                       tr("Kelvo %1\n\nAdjusts the colour and tone of photographs in bulk.")
                           .arg(QApplication::applicationVersion()));
  });
}

void MainWindow::restoreGeometry() {
  const QSettings settings;
  if (!QMainWindow::restoreGeometry(settings.value(kGeometry).toByteArray())) {
    resize(1240, 720);
  }
  splitter_->restoreState(settings.value(kSplitter).toByteArray());
}

bool MainWindow::newWorkflow() {
  if (!mayDiscard()) {
    return false;
  }
  workflow_.makeNew();
  showWorkflow();
  return true;
}

bool MainWindow::openWorkflow(const std::string& path) {
  if (!mayDiscard()) {
    return false;
  }
  if (const auto opened = workflow_.open(path); !opened) {
    refuse(tr("The workflow “%1” cannot be opened.").arg(shown(path)),
           sentence(opened.error().message));
    if (!QFileInfo::exists(shown(path))) {
      recent_->remove(path);
    }
    return false;
  }
  recent_->add(path);
  showWorkflow();
  return true;
}

bool MainWindow::save() { return workflow_.path().empty() ? saveAs() : saveTo(workflow_.path()); }

bool MainWindow::saveAs() {
  const QString start = workflow_.path().empty() ? tr("Untitled.kelvo") : shown(workflow_.path());
  QFileDialog dialog(this, tr("Save Workflow As"), start, workflowFilter());
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setDefaultSuffix(QStringLiteral("kelvo"));
  dialog.selectFile(start);
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
    return false;
  }
  return saveTo(bytesOf(dialog.selectedFiles().constFirst()));
}

bool MainWindow::saveTo(const std::string& path) {
  finishTyping();
  if (path == workflow_.path() && workflow_.changedOnDisk()) {
    const auto answer = QMessageBox::question(
        this, tr("Save Workflow"),
        tr("“%1” has been changed by another program since it was opened here. Replace it?")
            .arg(shown(path)),
        QMessageBox::Save | QMessageBox::Cancel, QMessageBox::Cancel);
    if (answer != QMessageBox::Save) {
      return false;
    }
  }
  if (const auto saved = workflow_.save(path); !saved) {
    refuse(tr("The workflow “%1” cannot be saved.").arg(shown(path)),
           sentence(saved.error().message));
    return false;
  }
  recent_->add(path);
  updateTitle();
  return true;
}

// What is being typed into a field counts, although a key was pressed before the field was left.
void MainWindow::finishTyping() {
  auto* const field = qobject_cast<QLineEdit*>(focusWidget());
  if (field != nullptr) {
    field->clearFocus();
    field->setFocus();
  }
}

// Whether the workflow may be given up for another one, after what people say to that.
bool MainWindow::mayDiscard() {
  finishTyping();
  if (!workflow_.changed()) {
    return true;
  }
  const QString name = workflow_.path().empty()
                           ? tr("the new workflow")
                           : QStringLiteral("“%1”").arg(fileName(workflow_.path()));
  const auto answer = QMessageBox::question(
      this, tr("Unsaved Changes"), tr("Save the changes to %1?").arg(name),
      QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
  return answer == QMessageBox::Discard || (answer == QMessageBox::Save && save());
}

void MainWindow::showWorkflow() {
  actionChoice_->clear();
  for (std::size_t i = 0; i < workflow_.count(); ++i) {
    actionChoice_->addItem(tr("Action %1 of %2: %3")
                               .arg(i + 1)
                               .arg(workflow_.count())
                               .arg(QString::fromStdString(workflow_.action(i))));
  }
  actionChoice_->setCurrentIndex(static_cast<int>(workflow_.selected()));
  actionChoice_->setVisible(workflow_.count() > 1);
  panelHost_->reload(workflow_.editable());
  updateTitle();
}

void MainWindow::selectAction(int index) {
  workflow_.select(static_cast<std::size_t>(index));
  panelHost_->reload(workflow_.editable());
}

void MainWindow::updateTitle() {
  const QString name = workflow_.path().empty() ? tr("Untitled") : fileName(workflow_.path());
  setWindowTitle(tr("%1[*] – Kelvo").arg(name));
  setWindowModified(workflow_.changed());
}

void MainWindow::updateActions() {
  const bool locked = run_->running();
  const bool any = files_.rowCount() > 0;
  const bool selected = list_->selectionModel()->hasSelection();
  addFilesAction_->setEnabled(!locked);
  addFolderAction_->setEnabled(!locked);
  removeAction_->setEnabled(!locked && selected);
  clearAction_->setEnabled(!locked && any);
  previewAction_->setEnabled(selected);
  runAction_->setEnabled(!locked && any);
  stopAction_->setEnabled(locked);
  runBox_->setRunnable(any);
}

void MainWindow::refuse(const QString& what, const QString& why) {
  QMessageBox message(QMessageBox::Warning, tr("Kelvo"), what, QMessageBox::Ok, this);
  message.setInformativeText(why);
  message.exec();
}

void MainWindow::run() {
  finishTyping();
  run_->run(workflow_.document());
}

// The numbers of a run are rows of the list.
void MainWindow::listLocked(bool locked) {
  setAcceptDrops(!locked);
  updateActions();
}

void MainWindow::closeEvent(QCloseEvent* event) {
  event->ignore();
  if (run_->running()) {
    QMessageBox question(QMessageBox::Question, tr("Close"), tr("Files are being adjusted."),
                         QMessageBox::Cancel, this);
    question.setInformativeText(
        tr("The files being worked on are finished, the rest stays as it is."));
    const QPushButton* const stop =
        question.addButton(tr("&Stop and Close"), QMessageBox::DestructiveRole);
    question.button(QMessageBox::Cancel)->setText(tr("&Go On"));
    question.setDefaultButton(QMessageBox::Cancel);
    question.exec();
    if (question.clickedButton() != stop) {
      return;
    }
    if (run_->running()) {
      closeAfterRun_ = true;
      run_->stop();
      return;
    }
  }
  if (!mayDiscard()) {
    return;
  }
  QSettings settings;
  settings.setValue(kGeometry, saveGeometry());
  settings.setValue(kSplitter, splitter_->saveState());
  event->accept();
}

void MainWindow::changeEvent(QEvent* event) {
  QMainWindow::changeEvent(event);
  if (event->type() == QEvent::ActivationChange && !isActiveWindow()) {
    panelHost_->showBefore(false);
  }
}

// B, wherever it is pressed, except where people type.
bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease) {
    return QMainWindow::eventFilter(watched, event);
  }
  const auto* const key = static_cast<QKeyEvent*>(event);
  auto* const widget = qobject_cast<QWidget*>(watched);
  if (widget == nullptr || widget->window() != this || key->key() != Qt::Key_B ||
      key->modifiers() != Qt::NoModifier || qobject_cast<QLineEdit*>(widget) != nullptr) {
    return QMainWindow::eventFilter(watched, event);
  }
  if (!key->isAutoRepeat()) {
    panelHost_->showBefore(event->type() == QEvent::KeyPress);
  }
  return true;
}

}  // namespace kelvo::window
