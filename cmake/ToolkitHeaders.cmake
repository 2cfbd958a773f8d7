# The exported headers (paths below include/) whose interface names wxWidgets types:
# an application that includes one of them needs the toolkit's flags, which the
# installed package's `toolkit` component (drutils::toolkit) and drutils-toolkit.pc
# give it. Every other header must compile with nothing but include/ on the path;
# tests/headers checks both, so a header that starts naming toolkit types goes here.
set(DRUTILS_TOOLKIT_HEADERS
    drutils.h            # the umbrella header includes every family
    ut_config.h          # ut::Config reads and writes wxRect, wxSize, wxMemoryBuffer...
    ut_papers.h          # ut::CustomPapers answers in wxString
    ut_printdata.h       # ut::PrintData is a wxPrintData
    ut_registry.h        # ut::Registry reads wxMemoryBuffer, ut::escape takes wxString
)
