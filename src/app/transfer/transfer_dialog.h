// "Transfer test procedure" (dialog 185): connects to the instrument, shows its
// memory and the procedure's memory need, and transfers the procedure. Every
// exchange with the instrument runs on a worker thread; the dialog only shows
// what it reports, so the window stays responsive and Cancel is always heard.
#pragma once

#include <QDialog>

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "link/link.h"
#include "link/memory.h"
#include "link/transfer.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QSpinBox;

namespace quelvari::app {

// The one entry of the Transfer command: opens the dialog modally for the
// procedure at `procedurePath`, a file system path as the editor keeps it
// (may be empty: the user then selects one).
void RunTransferDialog(QWidget* parent, const std::string& procedurePath);

class TransferDialog : public QDialog {
    Q_OBJECT
  public:
    // `setupLink` puts the link in place (by default from the link settings);
    // it runs on the worker thread before the connect.
    TransferDialog(QWidget* parent, const std::string& procedurePath,
                   std::function<void(link::Link&)> setupLink = {});
    ~TransferDialog() override;

    // Message boxes go here (by default a QMessageBox); tests record them.
    std::function<void(const QString& caption, const QString& text)> showMessage;

    // True while the worker is connecting or transferring.
    bool busy() const { return busy_; }
    QPushButton* startButton() const { return start_; }
    QPushButton* cancelButton() const { return cancelButton_; }
    QCheckBox* fastPictures() const { return fast_; }
    QSpinBox* numberField() const { return number_; }
    QProgressBar* progressBar() const { return progress_; }
    QLabel* statusLine() const { return status_; }
    QLabel* memoryField(std::uint32_t controlId) const;
    QLabel* needField(int row) const { return need_[row]; }
    void selectProcedure(const std::string& path);

  signals:
    // The worker finished a connect or a transfer (code 0 or a message number).
    void finishedWork(int code, bool cancelled);

  public slots:
    void reject() override;

  private:
    void startTransfer();
    void chooseFile();
    void connectAndShow();
    void updateEnabled();
    void showNeed();
    // Runs `work` on the worker thread; `done` runs on the UI thread after it.
    void runWorker(std::function<int()> work);
    void post(std::function<void()> f);
    void showError(int code, const std::string& detail);

    std::unique_ptr<link::Link> link_;
    std::function<void(link::Link&)> setupLink_;
    std::thread worker_;
    link::CancelToken cancel_;
    bool busy_ = false;
    bool closeWhenIdle_ = false;

    std::string path_;
    link::InstrumentMemory memoryFigures_;
    bool memoryKnown_ = false;
    bool numberFree_ = true;
    bool connected_ = false;
    std::uint16_t model_ = 0;

    QLineEdit* name_;
    QSpinBox* number_;
    QCheckBox* fast_;
    QPushButton* select_;
    QPushButton* start_;
    QPushButton* cancelButton_;
    bool done_ = false;  // a transfer completed: Cancel reads Close
    QProgressBar* progress_;
    QLabel* status_;
    QLabel* memory_[5];
    QLabel* need_[3];
};

}  // namespace quelvari::app
