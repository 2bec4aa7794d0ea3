#pragma once

#include <QStringList>

// `kelvo sequence card|download|zip`: the card's sequences listed and downloaded, and the
// vignette archives of downloaded sequences built, over the same core as the download page.
// Each takes the arguments after "sequence" and returns the exit status.
int sequence_card(const QStringList& args);
int sequence_download(const QStringList& args);
int sequence_zip(const QStringList& args);
// `kelvo sequence merge|unmerge`: sequences merged into one, and used sources restored.
int sequence_merge(const QStringList& args);
int sequence_unmerge(const QStringList& args);
