#include <korvane/platform/SerialPort.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

namespace Korvane {

struct SerialPort::Private {
    int fd = -1;            // the open device; -1 while closed
    SerialConfig settings;  // copied by setConfig, applied by the next open
    bool configValid = false;
};

namespace {

using Clock = std::chrono::steady_clock;

// The time-outs open gives the line, in ms: a request of n bytes waits at most
// perByte * n + constant in all. The interval time-out (setTimeOut) limits the pause
// between two bytes of one request; requests are one byte, so it never applies.
constexpr long kReadTotalPerByte = 1;
constexpr long kReadTotalConstant = 0;
constexpr long kWriteTotalPerByte = 1;
constexpr long kWriteTotalConstant = 0;

// dtrControl and rtsControl values with a meaning of their own here.
constexpr std::uint32_t kLineLow = 0;
constexpr std::uint32_t kLineHigh = 1;
constexpr std::uint32_t kRtsHandshake = 2;

#ifdef CMSPAR
constexpr tcflag_t kStickParity = CMSPAR;
#else
constexpr tcflag_t kStickParity = 0;  // no mark or space parity on this system
#endif

struct Rate {
    std::uint32_t bitsPerSecond;
    speed_t speed;
};

constexpr Rate kRates[] = {
    {50, B50},           {75, B75},           {110, B110},         {134, B134},
    {150, B150},         {200, B200},         {300, B300},         {600, B600},
    {1200, B1200},       {1800, B1800},       {2400, B2400},       {4800, B4800},
    {9600, B9600},       {19200, B19200},     {38400, B38400},     {57600, B57600},
    {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},
    {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000},
    {1500000, B1500000}, {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000},
    {3500000, B3500000}, {4000000, B4000000}};

bool speedOf(std::uint32_t bitsPerSecond, speed_t* speed) {
    for (const Rate& rate : kRates) {
        if (rate.bitsPerSecond == bitsPerSecond) {
            *speed = rate.speed;
            return true;
        }
    }
    return false;
}

// Data bits, stop bits, parity and hardware flow control as termios control flags;
// false for a setting or a combination this platform cannot make.
bool controlFlags(const SerialConfig& c, tcflag_t* flags) {
    static constexpr tcflag_t kSizes[] = {CS5, CS6, CS7, CS8};
    if (c.byteSize < 5 || c.byteSize > 8) return false;
    tcflag_t f = kSizes[c.byteSize - 5] | CREAD | CLOCAL;
    switch (c.stopBits) {
        case SerialConfig::stop_bits_1:
            break;
        case SerialConfig::stop_bits_1_5:  // two stop bits of a 5-bit byte last 1.5
            if (c.byteSize != 5) return false;
            f |= CSTOPB;
            break;
        case SerialConfig::stop_bits_2:
            if (c.byteSize == 5) return false;
            f |= CSTOPB;
            break;
        default:
            return false;
    }
    switch (c.parity) {
        case SerialConfig::parity_none:
            break;
        case SerialConfig::parity_odd:
            f |= PARENB | PARODD;
            break;
        case SerialConfig::parity_even:
            f |= PARENB;
            break;
        case SerialConfig::parity_mark:  // stick parity: PARODD makes the bit 1
            if (kStickParity == 0) return false;
            f |= PARENB | kStickParity | PARODD;
            break;
        case SerialConfig::parity_space:
            if (kStickParity == 0) return false;
            f |= PARENB | kStickParity;
            break;
        default:
            return false;
    }
    if (c.outxCtsFlow || c.rtsControl == kRtsHandshake) f |= CRTSCTS;
    *flags = f;
    return true;
}

// Raw mode with c's line settings. The port is non-blocking and a read asks the driver
// for at least one byte (VMIN 1, VTIME 0), so that an empty queue reads as EAGAIN and
// only a hang-up reads as 0; the waiting is done by poll under the line's time-outs.
bool applyConfig(int fd, const SerialConfig& c) {
    speed_t speed;
    tcflag_t control;
    termios t{};
    if (!speedOf(c.baudRate, &speed) || !controlFlags(c, &control) || tcgetattr(fd, &t) != 0) {
        return false;
    }
    cfmakeraw(&t);
    t.c_iflag &= ~(IXON | IXOFF | IXANY | INPCK | IGNPAR | PARMRK | ISTRIP);
    t.c_iflag |= IGNBRK;
    if (c.parityCheck) t.c_iflag |= INPCK | (c.errorCharEnabled ? 0 : IGNPAR);
    if (c.outX) t.c_iflag |= IXON;
    if (c.inX) t.c_iflag |= IXOFF;
    t.c_cflag &= ~(CSIZE | CSTOPB | PARENB | PARODD | kStickParity | CRTSCTS);
    t.c_cflag |= control;
    t.c_cc[VSTART] = static_cast<cc_t>(c.xonChar);
    t.c_cc[VSTOP] = static_cast<cc_t>(c.xoffChar);
    t.c_cc[VMIN] = 1;
    t.c_cc[VTIME] = 0;
    return cfsetispeed(&t, speed) == 0 && cfsetospeed(&t, speed) == 0 &&
           tcsetattr(fd, TCSANOW, &t) == 0;
}

// DTR and RTS as configured; RTS is left to the driver under RTS/CTS flow control.
// Devices without modem lines refuse the requests, which is not an error.
void setModemLines(int fd, const SerialConfig& c) {
    int raise = 0;
    int lower = 0;
    (c.dtrControl == kLineLow ? lower : raise) |= TIOCM_DTR;
    if (c.rtsControl != kRtsHandshake) (c.rtsControl == kLineLow ? lower : raise) |= TIOCM_RTS;
    if (raise) ioctl(fd, TIOCMBIS, &raise);
    if (lower) ioctl(fd, TIOCMBIC, &lower);
}

std::string devicePath(const std::string& name) {
    return !name.empty() && name[0] == '/' ? name : "/dev/" + name;
}

// The terminal at path, read-write, not our controlling terminal, non-blocking (so
// that neither the open nor a read or write can wait for the modem lines), locked
// against other SerialPorts and flock users and closed to further opens; -1 if any
// step fails.
int openExclusive(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return -1;
    if (!isatty(fd) || flock(fd, LOCK_EX | LOCK_NB) != 0 || ioctl(fd, TIOCEXCL) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

Clock::time_point deadlineAfter(long ms) {
    return Clock::now() + std::chrono::milliseconds(ms);
}

// Waits until fd is ready for event or the deadline passes; false on time-out, on a
// hang-up or error without the event, and when poll fails.
bool waitFor(int fd, short event, Clock::time_point deadline) {
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        const timespec limit{static_cast<time_t>(left.count() / 1000000000),
                             static_cast<long>(left.count() % 1000000000)};
        pollfd p{fd, event, 0};
        const int rc = ppoll(&p, 1, &limit, nullptr);
        if (rc > 0) return (p.revents & event) != 0;
        if (rc == 0 || errno != EINTR) return false;
    }
}

// The settings' words in the configuration text, indexed by parity_enum and
// stop_bits_enum.
constexpr char kParityLetters[] = "noems";
constexpr const char* kStopTexts[] = {"1", "1.5", "2"};
constexpr std::uint32_t kStopCount = sizeof kStopTexts / sizeof kStopTexts[0];

char parityLetter(SerialConfig::parity_enum parity) {
    return parity < sizeof kParityLetters - 1 ? kParityLetters[parity] : '?';
}

const char* stopText(SerialConfig::stop_bits_enum stopBits) {
    return stopBits < kStopCount ? kStopTexts[stopBits] : "?";
}

// Reads the four settings from "baud=%i parity=%c data=%i stop=%s" into a line with
// DTR and RTS raised and no flow control; false unless the text is exactly that and
// this platform can set the line up so.
bool lineFromText(const char* text, SerialConfig* line) {
    int baud = 0;
    char letter = 0;
    int data = 0;
    char stop[4] = {};
    int end = 0;
    if (std::sscanf(text, "baud=%i parity=%c data=%i stop=%3s%n", &baud, &letter, &data, stop,
                    &end) != 4 ||
        text[end] != '\0' || baud <= 0 || data < 0 || data > 0xFF) {
        return false;
    }
    const char* parity = letter ? std::strchr(kParityLetters, letter) : nullptr;
    std::uint32_t stopBits = 0;
    while (stopBits < kStopCount && std::strcmp(stop, kStopTexts[stopBits]) != 0) ++stopBits;
    if (!parity || stopBits == kStopCount) return false;

    line->baudRate = static_cast<std::uint32_t>(baud);
    line->byteSize = static_cast<std::uint8_t>(data);
    line->parity = static_cast<std::uint32_t>(parity - kParityLetters);
    line->stopBits = stopBits;
    line->parityCheck = line->parity != SerialConfig::parity_none;
    line->dtrControl = kLineHigh;
    line->rtsControl = kLineHigh;
    speed_t speed;
    tcflag_t flags;
    return speedOf(line->baudRate, &speed) && controlFlags(*line, &flags);
}

}  // namespace

bool initSerialConfig(SerialConfig* config, const char* portName, SerialConfig::baud_rate_enum baud,
                      SerialConfig::parity_enum parity, int dataBits,
                      SerialConfig::stop_bits_enum stopBits) {
    if (!config) return false;
    char text[64];
    std::snprintf(text, sizeof text, "baud=%i parity=%c data=%i stop=%s", static_cast<int>(baud),
                  parityLetter(parity), dataBits, stopText(stopBits));
    SerialConfig line;
    if (!lineFromText(text, &line)) return false;
    line.portName = portName ? portName : "";
    line.xonLim = 1000;
    line.xoffLim = 1000;
    line.xonChar = static_cast<char>(0xFF);
    line.xoffChar = static_cast<char>(0xFE);
    *config = line;
    return true;
}

SerialPort::SerialPort() : d(new Private) {}

SerialPort::SerialPort(SerialConfig* config) : SerialPort() {
    setConfig(config);
}

SerialPort::~SerialPort() {
    if (isOpen()) close();
}

void SerialPort::setConfig(SerialConfig* config) {
    if (!config) return;
    d->settings = *config;
    d->configValid = true;
    m_portName = config->portName;
    m_portNameSet = true;
}

void SerialPort::setPortName(const char* name) {
    m_portName = name ? name : "";
    m_portNameSet = true;
}

void SerialPort::setTimeOut(unsigned long ms) {
    m_timeout = static_cast<std::uint32_t>(ms);
}

int SerialPort::open() {
    if (isOpen()) return ok;
    if (!m_portNameSet) return no_port_name;
    if (!d->configValid) return no_config;
    d->fd = openExclusive(devicePath(m_portName));
    if (d->fd < 0) return open_failed;
    if (!applyConfig(d->fd, d->settings)) return config_failed;
    setModemLines(d->fd, d->settings);
    return ok;
}

int SerialPort::open(SerialConfig* config) {
    if (!config) return no_config;
    setConfig(config);
    return open();
}

int SerialPort::close() {
    if (!isOpen()) return close_failed;
    ioctl(d->fd, TIOCNXCL);  // the exclusive mark outlives us while others hold the device
    const int rc = ::close(d->fd);
    d->fd = -1;  // released even when close reports an error
    return rc == 0 ? ok : close_failed;
}

bool SerialPort::isOpen() const {
    return d->fd >= 0;
}

int SerialPort::read(char* c) {
    const bool got = c && isOpen() && readByte(c);
    m_lastCount = got ? 1 : 0;
    return got ? ok : read_failed;
}

int SerialPort::read(std::string* s) {
    if (!s) return read_failed;
    s->clear();
    char c;
    while (read(&c) == ok) s->push_back(c);
    return read_failed;
}

int SerialPort::write(char c) {
    const bool put = isOpen() && writeByte(c);
    m_lastCount = put ? 1 : 0;
    return put ? ok : write_failed;
}

int SerialPort::write(const std::string& s) {
    for (const char c : s) {
        if (write(c) != ok) return write_failed;
    }
    return ok;
}

void SerialPort::clear() {
    char c;
    while (read(&c) == ok) {
    }
}

bool SerialPort::readByte(char* c) {
    const Clock::time_point deadline =
        deadlineAfter(kReadTotalPerByte * ioSize + kReadTotalConstant);
    do {
        const ssize_t n = ::read(d->fd, c, ioSize);
        if (n == 1) {
            if (!(d->settings.discardNull && *c == '\0')) return true;
        } else if (n == 0 || (errno != EAGAIN && errno != EINTR)) {
            return false;  // 0: the device hung up
        }
    } while (waitFor(d->fd, POLLIN, deadline));
    return false;
}

bool SerialPort::writeByte(char c) {
    const Clock::time_point deadline =
        deadlineAfter(kWriteTotalPerByte * ioSize + kWriteTotalConstant);
    for (;;) {
        const ssize_t n = ::write(d->fd, &c, ioSize);
        if (n == 1) return true;
        if (n < 0 && errno != EAGAIN && errno != EINTR) return false;
        // A full output buffer signals POLLOUT only once it has drained well below full,
        // so room for one byte is tried for once more when the time is up.
        if (!waitFor(d->fd, POLLOUT, deadline)) return ::write(d->fd, &c, ioSize) == 1;
    }
}

}  // namespace Korvane
