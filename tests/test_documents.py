#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""
Compares limits, build settings and file names in documents and configurations with the sources, and
names each that differs.
"""
import re
import sys
from pathlib import Path
from types import SimpleNamespace

SOURCE = Path(__file__).resolve().parent.parent

# The texts that repeat a limit, below the name of their file. {expression} is the value, of constants
# as file.kName; FORM is what web servers allow beside an upload, FILES their limit on open files.
LIMITS = """
docs/protocol.md
| Payload of a request | {Connection.kMaxRequestBytes:,} bytes |
| Payload of a request | {SysMgrProxy.kMaxRequestBytes:,} bytes |
| Payload of an answer | {Device.kMaxAnswerBytes // MIB} MiB:
| Payload of an answer | {SysMgrProxy.kMaxAnswerBytes // MIB} MiB:
| Live values in an answer | {Device.kMaxLiveBytes // MIB} MiB |
from a request's first byte to its last | {Server.kDeadlineMilliseconds // 1000} seconds |
{Connection.kPieceBytes:,} bytes, or in answers of up to {Connection.kWholeBytes:,} bytes | {Server.kDeadlineMilliseconds // 1000} seconds |
| Keys in one request | {Device.kMaxKeysPerRequest} |
| Connections at once | {Server.kMaxConnections} |
| Unanswered requests of all clients together | {Server.kMaxInputBytes // MIB} MiB
| Answers that clients have not taken, all together | {Server.kMaxPendingBytes // MIB} MiB |
A client waits for an answer for {SysMgrProxy.kAnswerMilliseconds // 1000} seconds
a request of more than {Connection.kQuickRequestBytes} bytes
at most {Connection.kRequestsPerTurn} short queries
at most {Connection.kReadBytes // KIB} KiB beyond the request
without a final newline, at most {Authorisation.kMaxBytes:,} bytes
may remove it after {HandoverFolder.kMaxAgeSeconds // 60} minutes
One query may ask for {Device.kMaxFilesPerQuery} such key
larger than {Device.kMaxLiveBytes // MIB} MiB.
at most {Device.kMaxKeptBytes // MIB} MiB together
docs/configuration.md
at most {ConfigurationText.kMaxBytes // KIB} KiB and {ConfigurationText.kMaxSettings} settings
{ConfigurationCipher.kHashPasses} passes and {ConfigurationCipher.kHashMemoryBytes // MIB} MiB
`opslimit` {ConfigurationCipher.kHashPasses}, `memlimit` {ConfigurationCipher.kHashMemoryBytes}
pending configuration, for {Configuration.kPendingSeconds // 60} minutes
encrypted files for {Configuration.kRetrySeconds} seconds
the first {ProblemList.kMaxTold} mistakes
docs/firmware.md
1 to {FirmwareImage.kMaxNameBytes} letters, digits, blanks
1 to {FirmwareImage.kMaxNameBytes} letters, digits, `.`
at most {FirmwareImage.kMaxHeaderBytes} bytes
{(FirmwareImage.kMaxBytes + 1) // MIB} MiB - 1 ({FirmwareImage.kMaxBytes} bytes)
take {(FirmwareUpdate.kWritingSteps + FirmwareUpdate.kReadingSteps) * FirmwareUpdate.kStepMilliseconds // 1000} seconds
docs/language.md
at most {RequestHandlerUpload.kFieldLimitBytes - 1} bytes of each value
at most {RequestHandlerUpload.kFileLimitBytes - 1} bytes of it
to `${{{10 ** WGLQueryExecutor.kColumnDigits - 1}}}`
docs/model.md
asks for that table every {History.kSampleSeconds}
numbers from 0 to {Recording.kLargest} (
the oldest first, at most {Recording.kMaxRows}:
a line of {Recording.kSteps} points, one for each
a line of {Recording.kTrendSteps} points, the last
up to {ModelReader.kMaxTextCharacters}. `pattern`
the last {EventLog.kMaxEvents} events
a table of the first {ProblemList.kMaxTold} mistakes
the last {ChangeBook.kMaxChanges} changes of settings
the last {Forms.kMaxActions} actions
a change of the last {ChangeBook.kUndoSeconds // 60} minutes
within {Trial.kSeconds} seconds
| `output-power` | {Powerline.kCarriers} numbers
a file of {Powerline.kCarriers} doubles
docs/architecture.md
at least {Chart.kRequiredWidth} by {Chart.kRequiredHeight} pixels
docs/settings.md
needs {3 * (FirmwareImage.kMaxBytes + 1) // MIB} MiB for them
in the device's log | {EventLog.kMaxTextBytes} |
| {HandoverFolder.kMaxFiles}, {HandoverFolder.kMaxAgeSeconds // 60} minutes, {HandoverFolder.kSafeSeconds} seconds |
no action takes | {UploadedFile.kMaxAgeSeconds // 60} minutes |
| {Chart.kCarriers}; {Chart.kPowerLowestDecibels} to {Chart.kPowerHighestDecibels} dB
and {Chart.kSnrLowestDecibels} to {Chart.kSnrHighestDecibels} dB;
dB; {Chart.kFirstColumn} pixels from the left, {Chart.kBaseRow} from
docs/limits.md
| Processor time | {ProcessLimits.kMaxProcessorSeconds} seconds |
a name among them | {RequestHandler.kMaxFields} |
| Names and values of all fields together | {RequestHandler.kMaxFieldBytes // MIB} MiB |
| 1 to {RequestHandler.kMaxFormBytes} bytes |
| Value of a field in a multipart body | {RequestHandlerUpload.kFieldLimitBytes - 1} bytes |
| File in a multipart body | {RequestHandlerUpload.kFileLimitBytes - 1} bytes |
| Headers of a part of a multipart body | {RequestHandlerUpload.kMaxHeaderBytes} bytes |
and `--` before it | {RequestHandlerUpload.kMaxDelimiterBytes} bytes |
| Window on a multipart body | {InputWindow.kBlockBytes} bytes |
at its start | {WGLScanner.kWGLScannerBufferBytes} bytes |
| Output buffer | {Main.kOutputBufferBytes} bytes |
| {MessageCatalogue.kMaxCatalogueBytes // MIB} MiB; {MessageCatalogue.kMaxDescriptionBytes} bytes
its description, {MessageCatalogue.kMaxCharacterSetBytes} of the name
| {GifTemplate.kMaxFileBytes // MIB} MiB, {GifTemplate.kMaxPixels // MIB} Mi |
| {SysMgrProxy.kMaxAnswerBytes // MIB} MiB, {SysMgrProxy.kAnswerMilliseconds // 1000} seconds |
| The authorisation file | {SysMgrProxy.kMaxAuthorisationBytes} bytes |
| The authorisation file | {Authorisation.kMaxBytes} bytes |
docs/deploy.md
a body of more than {(RequestHandlerUpload.kFileLimitBytes + FORM) / MIB} MiB
deploy/lighttpd.conf
server.max-request-size   = {(RequestHandlerUpload.kFileLimitBytes + FORM) // KIB}
server.max-fds            = {FILES}
deploy/nginx.conf
client_max_body_size {(RequestHandlerUpload.kFileLimitBytes + FORM) // KIB}k;
limit on open files, {FILES}
deploy/apache.conf
LimitRequestBody {RequestHandlerUpload.kFileLimitBytes + FORM}
deploy/busybox/vistel.cgi
max_body_bytes={RequestHandlerUpload.kFileLimitBytes + FORM}
deploy/start
open_files_limit={FILES}
deploy/sysmgrd.service
LimitNOFILE={max(1100, Server.kMaxConnections + Server.kOtherDescriptors)}
tools/make-firmware
MAX_IMAGE_BYTES = {(FirmwareImage.kMaxBytes + 1) // MIB} * 1024 * 1024 - 1
{{1,{FirmwareImage.kMaxNameBytes}}}"),
"""


FOLDERS = [path for path in SOURCE.iterdir() if path.name not in ("build", "tests", "bench")]


def read(name):
    return re.sub(r"\s+", " ", (SOURCE / name).read_text())


def constants():
    """The numbers among the constants of the sources, as file.kName."""
    found = {"KIB": 1024, "MIB": 1024 * 1024, "FORM": 256 * 1024, "FILES": 2048}
    sources = [path for folder in FOLDERS for path in folder.glob("**/*.[hc]*")]
    for path in sorted(sources, key=lambda path: path.suffix != ".h"):
        own = found.setdefault(path.stem, SimpleNamespace())
        for name, value in re.findall(r"constexpr [\w:]+ (k\w+) = ([^;]+);", read(path)):
            value = re.sub(r"[\w:]+\{(\d+)\}|\b(\d+)[UL]+\b", r"\1\2", value)
            if "." not in value:
                value = value.replace("/", "//")
            try:
                setattr(own, name, eval(value, {}, vars(own)))
            except (AttributeError, NameError, SyntaxError, TypeError):
                pass  # not a number, or made of another file's constants
    return found


def wrong_limits():
    names = constants()
    for row in LIMITS.strip().splitlines():
        if (SOURCE / row).is_file():
            document, text = row, read(row)
            continue
        expected = re.sub(r"\s+", " ", eval("f" + repr(row), names))
        if expected not in text:
            yield "%s does not say '%s'" % (document, expected)


def wrong_settings():
    rows = [row.split("|") for row in (SOURCE / "docs/settings.md").read_text().splitlines() if "|" in row]
    for path in [SOURCE / "CMakeLists.txt", *SOURCE.glob("cmake/*.cmake")]:
        for name, default, state in re.findall(
                r'\b(?:set\(|option\()(\w+) "(.*?)"(?: CACHE| (ON|OFF)\))', path.read_text()):
            default = "`%s`" % (state or default) if state or default else "empty"
            if not any("`%s`" % name in row[1] and default in row[2] for row in rows):
                yield "docs/settings.md does not say that %s is %s" % (name, default)


def wrong_paths():
    names = "|".join(path.name for path in [*FOLDERS, SOURCE / "tests", SOURCE / "bench"] if path.is_dir())
    for path in [*SOURCE.glob("*.md"), *SOURCE.glob("docs/*.md")]:
        text = path.read_text()
        named = [SOURCE / name for name in re.findall(r"`((?:%s)/[\w./-]*)`" % names, text)]
        linked = [path.parent / name for name in re.findall(r"\]\(([\w./-]+)\)", text)]
        for missing in (one for one in named + linked if not one.exists()):
            yield "%s names %s, which is not there" % (path.name, missing.relative_to(SOURCE))


sys.exit("\n".join([*wrong_limits(), *wrong_settings(), *wrong_paths()]) or None)
