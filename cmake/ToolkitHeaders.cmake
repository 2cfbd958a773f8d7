# The exported headers (paths below include/) whose interface names wxWidgets types:
# an application that includes one of them needs the toolkit's flags, which the
# installed package's `toolkit` and `print` components (drutils::toolkit,
# drutils::print) and drutils-toolkit.pc / drutils-print.pc give it. Every other
# header must compile with nothing but include/ on the path; tests/headers checks
# both, so a header that starts naming toolkit types goes here.
set(DRUTILS_TOOLKIT_HEADERS
    drutils.h            # the umbrella header includes every family
    ut_config.h          # ut::Config reads and writes wxRect, wxSize, wxMemoryBuffer...
    ut_papers.h          # ut::CustomPapers answers in wxString
    ut_printdata.h       # ut::PrintData is a wxPrintData
    ut_registry.h        # ut::Registry reads wxMemoryBuffer, ut::escape takes wxString
)
# Of those, the ones that need the headers of the toolkit's GUI library (the
# printing library's print data). The others compile with the toolkit's base flags
# alone (`wx-config --cxxflags base`), as a program without a GUI has them.
set(DRUTILS_GUI_HEADERS
    drutils.h
    ut_printdata.h
)
