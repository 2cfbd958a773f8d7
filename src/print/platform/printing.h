// The printing system behind print data and printer configurations: its queues,
// their defaults and media, and the user's default queue. The Linux build asks
// CUPS (printing_cups.cpp); nothing else in the library includes its headers.
// Every request opens its own connection to the scheduler libcups is pointed at
// (CUPS_SERVER, client.conf) and closes it before returning.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace ut::platform::printing {

// Why a request failed, in the library's terms; message is one line that names
// the printer where there is one.
enum class Fault { kNone, kNoScheduler, kNoPrinter, kRefused, kFailed };
struct Failure {
    Fault fault = Fault::kNone;
    std::wstring message;
};

// One paper of a queue's media database. Lengths in hundredths of a millimetre.
struct Media {
    std::string id;          // the printing system's name for it ("iso_a4_210x297mm")
    std::wstring name;       // a readable name ("A4", "EnvC5", "148.52 x 209.90 mm")
    int width = 0;
    int length = 0;
    int left = 0;            // unprintable margins
    int bottom = 0;
    int right = 0;
    int top = 0;
};

// What a list of queues tells about each.
struct Queue {
    std::wstring name;
    std::wstring info;         // the comment
    std::wstring location;
    std::wstring makeAndModel; // the driver
    std::wstring deviceUri;    // where output goes
    bool isDefault = false;
    bool remote = false;       // served by another machine or found on the network
    bool shared = false;
};

// Everything a device mode is built from.
struct QueueDetails : Queue {
    bool acceptsPostScript = false;
    bool color = false;                    // can print in colour
    std::vector<Media> media;              // in the queue's order
    std::string defaultMedia;              // a Media::id, or empty
    std::vector<std::string> sources;      // paper sources, in the queue's order
    std::string defaultSource;             // empty when the queue names none
    int copies = 1;
    int orientation = 0;                   // IPP orientation-requested 3..6, 0 for none
    std::string colorMode;                 // "color", "monochrome", ...
    std::string sides;                     // "one-sided", "two-sided-long-edge", ...
    int resolutionX = 0;                   // dots per inch, 0 for none
    int resolutionY = 0;
    int quality = 0;                       // IPP print-quality 3 draft, 4 normal, 5 high; 0 none
    int numberUp = 1;
    bool collate = true;
    // The queue's other job options (the user's saved ones and the scheduler's
    // defaults), by name; never one of the values above.
    std::vector<std::pair<std::string, std::string>> otherOptions;
};

// Local queues first, then remote ones, each group in the scheduler's order.
bool listQueues(std::vector<Queue>& out, Failure& why);
// Details of one queue.
bool describeQueue(const std::wstring& name, QueueDetails& out, Failure& why);
// The user's default queue; true with an empty name when there is none.
bool defaultQueue(std::wstring& name, Failure& why);
// Makes name the user's default queue (the user's printing options file).
bool setDefaultQueue(const std::wstring& name, Failure& why);

// Option names of the values QueueDetails models, which otherOptions never holds
// and which a device mode's public part stands for.
bool isModelledOption(const std::string& name);

} // namespace ut::platform::printing
