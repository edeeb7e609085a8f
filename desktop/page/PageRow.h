#pragma once

#include "desktop/page/Page.h"

/// An entry of the list at the left. Its texts are marked for translation in the context "pageTable".
struct PageRow {
    const char* id;       ///< stable: in settings, saved jobs and tests
    const char* group;    ///< neighbouring rows of one group stand under its title
    const char* title;    ///< also the headline
    const char* summary;  ///< one sentence: what the page is for
    const char* words;    ///< what it is found by besides: command words and what people call it
    Page* (*make)(const PageRow& row, PageContext& context, QWidget* parent);
};
