// The start of a transfer and the transfer itself, shared by the dialog and
// the command line.
#include "model/status.h"
#include "texts/texts.h"

#include "link/instrument.h"
#include "link/link_texts.h"
#include "link/transfer.h"
#include "link/transfer_job.h"

namespace quelvari::link {

TransferOutcome TransferToInstrument(Link& link, const std::string& padPath,
                                     TransferSettings settings, MemoryDisplay& display,
                                     TransferObserver& observer) {
    TransferOutcome out;
    auto refuse = [&](int code, std::string detail = {}) {
        out.code = code;
        link.lastReason = std::move(detail);
        return out;
    };

    // Connect unless the instrument is connected already.
    if (!link.instrumentConnected) {
        if (const int code = InstrumentConnect(link); code != 0) {
            out.code = code;
            return out;
        }
        link.instrumentConnected = true;
    }
    link.lastReason.clear();

    // The file check and the job for the connected model.
    settings.model = link.table[0].model;
    TransferJob job;
    if (const int code = PrepareTransferJob(padPath, ModelArgument(settings.model), job))
        return refuse(code);
    out.records = job.records.size();
    for (const auto& list : job.interrupts)
        out.interrupts += list.empty() ? 0 : 1;

    // The instrument's memory, and the start checks against it.
    InstrumentMemory memory;
    if (!RefreshMemory(link, memory, display))
        return refuse(Cancelled(link.cancel()) ? 0 : kErrTransfer, LinkDetail(link));
    std::vector<std::uint64_t> sizes;
    const MemoryNeed need = ComputeMemoryNeed(job, [&](const TransferPicture& p) {
        sizes.push_back(SentPictureSize(p, settings));
        return sizes.back();
    });
    if (const int code = StartChecks(link, memory, need))
        return refuse(code);
    // No free place: the dialog keeps its start disabled, the command line
    // refuses in the same way.
    if (memory.procedureNumber == 0)
        return refuse(kErrProcedureMemory, LangText(kTextInstrumentFull));
    for (std::size_t i = 0; i < job.pictures.size() && i < sizes.size(); ++i)
        if (PictureCounterEnd(sizes[i]) > kPictureCounterMax)
            return refuse(kErrTransfer,
                          TextWith(kTextPictureTooLarge,
                                   {job.pictures[i].path, std::to_string(kPictureBytesMax)}));
    if (Cancelled(link.cancel())) {
        out.cancelled = true;
        return out;
    }

    out.result = RunTransfer(link, job, settings, observer);
    out.code = out.result.code;
    out.cancelled = out.result.cancelled;
    if (out.code != 0 || out.cancelled) {
        // The instrument was released: the next start selects it again.
        link.instrumentConnected = false;
        link.lastReason = LinkDetail(link);
        return out;
    }
    out.memoryAnswered = RefreshMemory(link, out.memory, display);
    return out;
}

}  // namespace quelvari::link
