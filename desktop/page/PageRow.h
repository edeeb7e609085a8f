#pragma once

#include "desktop/page/Page.h"

namespace desktop {

/// An entry of the list at the left. Its texts are marked for translation in the context "pageTable".
struct PageRow {
    const char* id;       ///< stable: used in settings, saved jobs and tests
    const char* group;    ///< neighbouring rows of one group are under one title
    const char* title;    ///< also the headline
    const char* summary;  ///< one sentence: the purpose of the page
    const char* words;    ///< more words for the search: command words and usual names
    Page* (*make)(const PageRow& row, PageContext& context, QWidget* parent);
};

}  // namespace desktop
