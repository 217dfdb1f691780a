#include "app/transfer/transfer_dialog.h"

#include <QCheckBox>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include <map>

#include "app/transfer/screen_converter.h"
#include "link/instrument.h"
#include "link/link_settings.h"
#include "link/link_texts.h"
#include "link/transfer_job.h"
#include "model/encoding.h"
#include "texts/errors.h"
#include "texts/texts.h"

namespace quelvari::app {

namespace {

QString Text(std::uint32_t id) {
    return QString::fromStdString(cp1252ToUtf8(ControlText(id)));
}
QString FromCp1252(const std::string& s) {
    return QString::fromStdString(cp1252ToUtf8(s));
}

// The memory frame's texts, collected on the worker and shown by the dialog.
class CollectedMemory : public link::MemoryDisplay {
  public:
    void setField(std::uint32_t id, const std::string& text) override { fields[id] = text; }
    void disableStart() override { full = true; }
    void hideProgress() override {}
    std::map<std::uint32_t, std::string> fields;
    bool full = false;
};

constexpr std::uint32_t kMemoryFields[5] = {link::kFieldTotal, link::kFieldFree, link::kFieldSeries,
                                            link::kFieldDatabase, link::kFieldNumber};

struct Outcome {
    int code = 0;
    bool cancelled = false;
};

}  // namespace

void RunTransferDialog(QWidget* parent, const std::string& procedurePath) {
    TransferDialog dialog(parent, procedurePath);
    dialog.exec();
}

TransferDialog::TransferDialog(QWidget* parent, const std::string& procedurePath,
                               std::function<void(link::Link&)> setupLink)
    : QDialog(parent), link_(std::make_unique<link::Link>()), setupLink_(std::move(setupLink)) {
    setObjectName("TransferDialog");
    setWindowTitle(Text(185));
    showMessage = [this](const QString& caption, const QString& text) {
        QMessageBox box(QMessageBox::NoIcon, caption, text, QMessageBox::Ok, this);
        box.exec();
    };

    // Left: the instrument's memory (2143, labels 2144 to 2148).
    auto* memoryBox = new QGroupBox(Text(2143), this);
    auto* memoryGrid = new QGridLayout(memoryBox);
    for (int i = 0; i < 5; ++i) {
        memoryGrid->addWidget(new QLabel(Text(2144 + static_cast<std::uint32_t>(i))), i, 0);
        memory_[i] = new QLabel(QStringLiteral("???"));
        memory_[i]->setObjectName(QString::number(kMemoryFields[i]));
        memory_[i]->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        memory_[i]->setFont(QFont(QStringLiteral("monospace")));
        memoryGrid->addWidget(memory_[i], i, 1);
    }
    // Right: what the procedure needs (2149, labels 2150 to 2152).
    auto* needBox = new QGroupBox(Text(2149), this);
    auto* needGrid = new QGridLayout(needBox);
    for (int i = 0; i < 3; ++i) {
        needGrid->addWidget(new QLabel(Text(2150 + static_cast<std::uint32_t>(i))), i, 0);
        need_[i] = new QLabel(QStringLiteral("???"));
        need_[i]->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        needGrid->addWidget(need_[i], i, 1);
    }
    auto* frames = new QHBoxLayout;
    frames->addWidget(memoryBox);
    frames->addWidget(needBox);

    name_ = new QLineEdit(this);
    name_->setObjectName("name");
    name_->setReadOnly(true);
    select_ = new QPushButton(Text(1466), this);
    select_->setObjectName("1466");
    auto* fileRow = new QHBoxLayout;
    fileRow->addWidget(name_, 1);
    fileRow->addWidget(select_);

    number_ = new QSpinBox(this);
    number_->setObjectName("number");
    number_->setRange(1, 255);
    fast_ = new QCheckBox(Text(1550), this);
    fast_->setObjectName("1550");
    fast_->setChecked(true);
    fast_->setLayoutDirection(Qt::RightToLeft);
    auto* optionRow = new QHBoxLayout;
    optionRow->addWidget(new QLabel(Text(2148)));
    optionRow->addWidget(number_);
    optionRow->addStretch(1);
    optionRow->addWidget(fast_);

    start_ = new QPushButton(Text(1467), this);
    start_->setObjectName("1467");
    progress_ = new QProgressBar(this);
    progress_->setObjectName("1473");
    progress_->setVisible(false);
    status_ = new QLabel(this);
    status_->setObjectName("1471");
    status_->setVisible(false);
    status_->setFont(QFont(QStringLiteral("monospace")));
    cancelButton_ = new QPushButton(Text(2), this);  // "Abbrechen"
    cancelButton_->setObjectName("cancel");
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(start_);
    buttons->addStretch(1);
    buttons->addWidget(cancelButton_);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(frames);
    layout->addLayout(fileRow);
    layout->addLayout(optionRow);
    layout->addWidget(progress_);
    layout->addWidget(status_);
    layout->addLayout(buttons);

    connect(select_, &QPushButton::clicked, this, &TransferDialog::chooseFile);
    connect(start_, &QPushButton::clicked, this, &TransferDialog::startTransfer);
    // During a transfer Cancel stops it (every wait of the link hears it);
    // otherwise it closes.
    connect(cancelButton_, &QPushButton::clicked, this, [this] {
        if (busy_)
            cancel_.cancel();
        else
            reject();
    });

    path_ = procedurePath;
    name_->setText(QFile::decodeName(QByteArray::fromStdString(path_)));
    updateEnabled();
    connectAndShow();
}

TransferDialog::~TransferDialog() {
    cancel_.cancel();
    if (worker_.joinable())
        worker_.join();
    // Nothing stays selected when the dialog goes.
    link_->setCancel(nullptr);
    if (connected_ || link_->instrumentConnected)
        link::ReleaseAllAndDisconnect(*link_);
}

QLabel* TransferDialog::memoryField(std::uint32_t controlId) const {
    for (int i = 0; i < 5; ++i)
        if (kMemoryFields[i] == controlId)
            return memory_[i];
    return nullptr;
}

void TransferDialog::post(std::function<void()> f) {
    QMetaObject::invokeMethod(this, std::move(f), Qt::QueuedConnection);
}

void TransferDialog::showError(int code, const std::string& detail) {
    if (code == -99) {
        showMessage(windowTitle(), FromCp1252(LangText(link::kTextNotSent)));
        return;
    }
    const ErrorBox box = ComposeErrorMessage(code << 8);
    QString text = FromCp1252(box.text);
    if (!detail.empty())
        text += QStringLiteral("\n") + FromCp1252(detail);
    showMessage(FromCp1252(box.caption), text);
}

void TransferDialog::runWorker(std::function<int()> work) {
    if (worker_.joinable())
        worker_.join();
    busy_ = true;
    cancel_.reset();
    link_->setCancel(&cancel_);
    updateEnabled();
    // The worker owns the link while it runs; the detail of a failure is
    // taken on the worker and handed over with the result.
    worker_ = std::thread([this, work = std::move(work)] {
        const int code = work();
        const bool cancelled = cancel_.cancelled();
        const std::string detail = code != 0 ? link::LinkDetail(*link_) : std::string();
        post([this, code, cancelled, detail] {
            busy_ = false;
            if (code != 0 && !closeWhenIdle_ && !cancelled)
                showError(code, detail);
            updateEnabled();
            emit finishedWork(code, cancelled);
            if (closeWhenIdle_)
                QDialog::reject();
        });
    });
}

void TransferDialog::connectAndShow() {
    runWorker([this]() -> int {
        link::Link& link = *link_;
        if (setupLink_)
            setupLink_(link);
        else
            link::ApplyLinkConfig(link, link::ReadLinkConfig());
        int code = link::InstrumentConnect(link);
        const std::string reason = link.lastReason;
        if (code == 0) {
            link.instrumentConnected = true;
            link::WaitUntil(link.clock, link.clock.nowMs() + link::TransferTiming::kOpenPause,
                            link.cancel());
        }
        // The memory display asks "pI" whether the connect succeeded or not
        // (it shows "???" first when it did not).
        CollectedMemory shown;
        link::InstrumentMemory memory;
        const bool answered = link::RefreshMemory(link, memory, shown);
        link.lastReason = reason;
        const bool connected = link.instrumentConnected;
        const std::uint16_t model = link.table[0].model;
        post([this, shown, memory, answered, connected, model] {
            connected_ = connected;
            model_ = model;
            for (const auto& [id, text] : shown.fields)
                if (QLabel* field = memoryField(id))
                    field->setText(FromCp1252(text));
            if (answered) {
                memoryFigures_ = memory;
                memoryKnown_ = true;
                numberFree_ = !shown.full;
                if (memory.procedureNumber > 0)
                    number_->setValue(memory.procedureNumber);
            }
            showNeed();
        });
        return code;
    });
}

void TransferDialog::showNeed() {
    for (QLabel* l : need_)
        l->setText(QStringLiteral("???"));
    if (path_.empty() || !connected_)
        return;
    link::TransferJob job;
    if (link::PrepareTransferJob(path_, link::ModelArgument(model_), job) != 0)
        return;
    link::TransferSettings settings;
    settings.fastPictures = fast_->isChecked();
    settings.toScreen = [](const std::string&, std::uint16_t, std::vector<std::uint8_t>&) {
        return true;
    };
    const link::MemoryNeed need = link::ComputeMemoryNeed(
        job, [&](const link::TransferPicture& p) { return link::SentPictureSize(p, settings); });
    // The same unit as the memory frame ("%8ld kB").
    auto kb = [](std::uint64_t v) { return QStringLiteral("%1 kB").arg(v); };
    need_[0]->setText(kb((need.procedureBytes + 1023) / 1024));
    need_[1]->setText(kb((need.pictureBytes + 1023) / 1024));
    need_[2]->setText(kb(need.seriesKb));
}

void TransferDialog::updateEnabled() {
    const bool modelOk = model_ == link::kModel6410 || model_ == link::kModel3320;
    start_->setEnabled(!busy_ && modelOk && !path_.empty() && connected_ && numberFree_);
    select_->setEnabled(!busy_);
    number_->setEnabled(!busy_);
    fast_->setEnabled(!busy_);
}

void TransferDialog::selectProcedure(const std::string& path) {
    path_ = path;
    name_->setText(QFile::decodeName(QByteArray::fromStdString(path_)));
    showNeed();
    updateEnabled();
}

void TransferDialog::chooseFile() {
    const QString file = QFileDialog::getOpenFileName(
        this, Text(1466),
        QFileInfo(QFile::decodeName(QByteArray::fromStdString(path_))).absolutePath(),
        QStringLiteral("*.PAD *.pad"));
    if (file.isEmpty())
        return;
    selectProcedure(QFile::encodeName(file).toStdString());
}

void TransferDialog::startTransfer() {
    if (busy_)
        return;
    const std::string path = path_;
    const std::uint8_t number = static_cast<std::uint8_t>(number_->value());
    const bool fast = fast_->isChecked();
    progress_->setValue(0);
    status_->clear();
    if (done_) {
        done_ = false;
        cancelButton_->setText(Text(2));
    }

    runWorker([this, path, number, fast]() -> int {
        link::TransferSettings settings;
        settings.number = number;
        settings.fastPictures = fast;
        settings.toScreen = ScreenPicture;

        // Progress and status go to the window as they come.
        class Forward : public link::TransferObserver {
          public:
            explicit Forward(TransferDialog* d) : d_(d) {}
            void phase(link::TransferPhase p, int) override {
                if (p == link::TransferPhase::kProcedure)
                    d_->post([d = d_] {
                        d->progress_->setVisible(true);
                        d->status_->setVisible(true);
                    });
            }
            void progressRange(int maximum) override {
                d_->post([d = d_, maximum] { d->progress_->setRange(0, maximum); });
            }
            void progress(int position) override {
                d_->post([d = d_, position] { d->progress_->setValue(position); });
            }
            void status(const std::string& text) override {
                d_->post([d = d_, text] { d->status_->setText(FromCp1252(text)); });
            }

          private:
            TransferDialog* d_;
        } forward(this);

        CollectedMemory shown;
        const link::TransferOutcome outcome =
            link::TransferToInstrument(*link_, path, settings, shown, forward);
        if (outcome.code != 0 || outcome.cancelled)
            return outcome.code;
        const link::InstrumentMemory memory = outcome.memory;
        const bool answered = outcome.memoryAnswered;
        post([this, shown, memory, answered] {
            // The memory refresh hides the progress bar; the status line
            // tells that the transfer is complete, and Cancel becomes Close.
            progress_->setVisible(false);
            status_->setText(FromCp1252(LangText(link::kTextTransferComplete)));
            status_->setVisible(true);
            done_ = true;
            cancelButton_->setText(FromCp1252(LangText(link::kTextClose)));
            if (!answered)
                return;
            for (const auto& [id, text] : shown.fields)
                if (QLabel* field = memoryField(id))
                    field->setText(FromCp1252(text));
            memoryFigures_ = memory;
            numberFree_ = !shown.full;
            if (memory.procedureNumber > 0)
                number_->setValue(memory.procedureNumber);
        });
        return 0;
    });
}

void TransferDialog::reject() {
    if (busy_) {
        // Stop the worker; the dialog closes when it is done.
        cancel_.cancel();
        closeWhenIdle_ = true;
        cancelButton_->setEnabled(false);
        return;
    }
    QDialog::reject();
}

}  // namespace quelvari::app
