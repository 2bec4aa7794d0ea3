#pragma once

#include <QString>

class CThWorker;
class InterfaceCamera;
class InstrumentLock;

// The worker's work for the card: "sdlist" and "treeupdatesdlist" fill the card's sequence
// list, "retrievefromsensor" downloads one sequence into the task's project (owner),
// "ZipVignettes" gathers a downloaded sequence's loose images into "images.zip". The
// instrument tasks hold the instrument lock while they run.
namespace DownloadTasks {

void install(CThWorker& worker, InterfaceCamera& camera, InstrumentLock* lock);

// The work of a listing on the calling thread: fetches "tree.txt" (rebuilt first when
// `update`) and parses it into SdSequenceList::instance(). False when the card could not be
// read over Ethernet (the list's network error is then set).
bool listCard(InterfaceCamera& camera, bool update, QString* message = nullptr);

} // namespace DownloadTasks
