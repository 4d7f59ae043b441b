// The help of qz62ctl and of each of its commands: every option is here
// (and in the manual page, which the package check compares with these).
#include "CliCommands.h"

#include <map>

namespace {

const char kMainUsage[] =
    "usage: qz62ctl COMMAND [ARGS]\n"
    "  probe [--port PATH]                 find the unit\n"
    "  send [--port PATH] COMMAND...       send commands, print the replies\n"
    "  import FILE... [-o SHEET.txt]       text cue lists into a cue sheet\n"
    "  export-midi SHEET.txt -o CUES.mid   cue sheet as a MIDI file\n"
    "  dump-midi FILE.mid                  log a MIDI file's chunks and events\n"
    "  tc frames|timecode|subtract|compare ...\n"
    "  srec check|image FILE.s19\n"
    "  update micro|firmware|fonts [FILE]  update the unit's program, firmware or fonts\n"
    "  midi-ports                          list MIDI sources and destinations\n"
    "  mtc --out PORT [--start TC] [--rate 24|25|29.97df|30] [--seconds S]\n"
    "                                      play MIDI Time Code in real time\n"
    "  --version                           show the version\n"
    "  --help                              show this help\n"
    "qz62ctl COMMAND --help shows a command's options.\n";

const char kPortOption[] =
    "  --port PATH           the unit's serial port instead of searching /dev (also\n"
    "                        --port=PATH, or the environment variable QZ62_PORT)\n";

const std::string kProbeUsage = std::string("usage: qz62ctl probe [--port PATH]\n"
                                            "  Prints the unit's port, or \"QZ62 not found\" (exit "
                                            "status 1).\n") +
                                kPortOption;

const std::string kSendUsage =
    std::string("usage: qz62ctl send [--port PATH] COMMAND...\n"
                "  Sends each command (a letter and its arguments, quoted as one word) to the\n"
                "  unit and prints every reply line until the unit has been quiet for 300 ms.\n") +
    kPortOption;

const char kImportUsage[] =
    "usage: qz62ctl import FILE... [-o SHEET.txt] [options]\n"
    "  Imports cue lists into a cue sheet, written to SHEET.txt or standard\n"
    "  output: text files (each line with a timecode becomes a cue; UTF-8, UTF-16\n"
    "  with a byte-order mark, otherwise Windows-1252), PDF cue sheets (EdiCue,\n"
    "  filmlight, or any with timecodes, every page) and MIDI files (each cue\n"
    "  trigger with its text, counted from the file's start). A cue sheet's rows\n"
    "  are read field by field and its header values are kept; the options below\n"
    "  win over them.\n"
    "  --tctype N            timecode type: 0 = 24, 1 = 25, 2 = 30 drop, 3 = 30 (default 3)\n"
    "  --start TC            MIDI export start (default 01:00:00:00)\n"
    "  --text, --no-text     send the cue text (default on)\n"
    "  --cue-id, --no-cue-id put the cue identifier before the text (default on)\n"
    "  --pulldown, --no-pulldown  pulldown for the MIDI export (default off)\n"
    "  --sort                sort the cues by in time\n"
    "  --duplicates, --no-duplicates  when sorting, keep only the first cue of equal\n"
    "                        in times (default on)\n"
    "  --midnight, --no-midnight      when sorting, start a sheet across midnight\n"
    "                        with its evening cues (default on)\n";

const char kExportUsage[] =
    "usage: qz62ctl export-midi SHEET.txt -o CUES.mid [options]\n"
    "  Writes the cue sheet, sorted first, as a Standard MIDI File and prints the\n"
    "  export's log. The sheet's own settings apply unless these override them:\n"
    "  --offset SECONDS      offset of the cues, at most a day either way\n"
    "  --start TC            MIDI file start\n"
    "  --tctype N            timecode type: 0 = 24, 1 = 25, 2 = 30 drop, 3 = 30\n"
    "  --text, --no-text     send the cue text\n"
    "  --cue-id, --no-cue-id put the cue identifier before the text\n"
    "  --pulldown, --no-pulldown  pulldown\n";

const char kDumpUsage[] = "usage: qz62ctl dump-midi FILE.mid\n"
                          "  Logs a MIDI file's chunks and events (exit status 1 when the file\n"
                          "  ends early or holds something unexpected).\n";

const char kTcUsage[] =
    "usage: qz62ctl tc COMMAND ARGS [--type N]\n"
    "  frames TC             frames since midnight\n"
    "  timecode FRAMES       timecode of a frame count (wrapped into one day)\n"
    "  subtract A B          A minus B, wrapped into one day\n"
    "  compare A B           1 when A is later than B, 0 when equal, -1 when earlier\n"
    "                        (within half a day either way of midnight)\n"
    "  --type N              0 = 24, 1 = 25, 2 = 30 drop frame, 3 = 30 non drop (default 3)\n";

const char kSrecUsage[] =
    "usage: qz62ctl srec check|image FILE.s19\n"
    "  check   prints for each line: ok, refused or checksum error (exit status 1\n"
    "          when any is not ok)\n"
    "  image   prints the S1 records a microcontroller update would send for the\n"
    "          file (exit status 1, after the records, when lines were skipped)\n";

const char kUpdateUsage[] =
    "usage: qz62ctl update micro FILE.s19 [--port PATH] [--unit-data DIR] [--yes]\n"
    "       qz62ctl update firmware [FILE.mcs] [--host HOST:PORT] [options]\n"
    "       qz62ctl update fonts [FILE.mcs] [--host HOST:PORT] [options]\n"
    "  micro     replaces the unit's program over the USB-serial port; the unit's\n"
    "            settings are read back first and written again with the program\n"
    "  firmware  loads a firmware image through the unit's network proxy; without\n"
    "            FILE the unit's own c192b.mcs from the unit data folder\n"
    "  fonts     loads a font set the same way; without FILE the unit's fonts.mcs\n"
    "  Every file is checked before anything is sent, and the question before the\n"
    "  unit's FLASH is erased is asked on the terminal. Ctrl-C stops the update.\n"
    "  --port PATH           micro: the unit's serial port instead of searching /dev\n"
    "                        (also --port=PATH, or the environment variable QZ62_PORT)\n"
    "  --host HOST:PORT      firmware, fonts: the network proxy, instead of the first\n"
    "                        one service discovery finds\n"
    "  --unit-data DIR       the folder of the unit's own files (loader.bin, c192b.mcs,\n"
    "                        fonts.mcs; default ~/.local/share/qz62/unit or $QZ62_UNIT_DATA)\n"
    "  --yes, -y             do not ask before the FLASH is erased (for scripts)\n"
    "  --timeout S           firmware, fonts: give up when the unit reports no\n"
    "                        progress for S seconds (default 30)\n"
    "exit status:\n"
    "  0    the update finished\n"
    "  1    the FLASH erase was not confirmed; nothing was sent\n"
    "  2    bad arguments\n"
    "  3    no unit: none answers on the serial port, or no network proxy\n"
    "  4    a file of the unit's own data is missing or wrong\n"
    "  5    the update file was refused; nothing was sent\n"
    "  6    the unit's settings could not all be read back; nothing was sent\n"
    "  7    the unit's loader did not start or echoed wrongly (program unchanged)\n"
    "  8    the unit did not acknowledge the FLASH erase\n"
    "  9    the unit refused a record\n"
    "  10   the port or the network connection was lost\n"
    "  11   the unit behind the network proxy stopped reporting progress\n"
    "  130  stopped with Ctrl-C\n";

const char kMidiPortsUsage[] = "usage: qz62ctl midi-ports\n"
                               "  Lists the MIDI system in use (ALSA, JACK or CoreMIDI) and its\n"
                               "  sources and destinations.\n";

const char kMtcUsage[] =
    "usage: qz62ctl mtc --out PORT [--start TC] [--rate 24|25|29.97df|30] [--seconds S]\n"
    "  Plays MIDI Time Code into a destination in real time: a full-frame message,\n"
    "  then quarter frames, until the time is up or Ctrl-C.\n"
    "  --out PORT            a destination's name or a unique part of it\n"
    "  --start TC            the first frame (default 01:00:00:00)\n"
    "  --rate R              24, 25, 29.97df or 30 (default 30)\n"
    "  --seconds S           stop after S seconds (default: until interrupted)\n";

} // namespace

namespace cli {

const char* usageOf(const QString& command) {
    static const std::map<QString, const char*> usages = {
        {QString(), kMainUsage},
        {QStringLiteral("probe"), kProbeUsage.c_str()},
        {QStringLiteral("send"), kSendUsage.c_str()},
        {QStringLiteral("import"), kImportUsage},
        {QStringLiteral("export-midi"), kExportUsage},
        {QStringLiteral("dump-midi"), kDumpUsage},
        {QStringLiteral("tc"), kTcUsage},
        {QStringLiteral("srec"), kSrecUsage},
        {QStringLiteral("update"), kUpdateUsage},
        {QStringLiteral("midi-ports"), kMidiPortsUsage},
        {QStringLiteral("mtc"), kMtcUsage},
    };
    const auto it = usages.find(command);
    return it == usages.end() ? nullptr : it->second;
}

} // namespace cli
