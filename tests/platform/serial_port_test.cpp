#include <fcntl.h>
#include <gtest/gtest.h>
#include <korvane/platform/SerialPort.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "support/Deadline.h"

using namespace Korvane;
using KorvaneTest::eventually;
using KorvaneTest::kGenerousDeadline;
using Clock = std::chrono::steady_clock;
using Config = SerialConfig;
using namespace std::string_literals;

namespace {

double elapsedMs(Clock::time_point since) {
    return std::chrono::duration<double, std::milli>(Clock::now() - since).count();
}

// What another user's open of path would meet now: the device is made world-writable
// and, when the test runs as root (whom TIOCEXCL lets in), a child gives up root.
enum Outsider { outsider_opens = 0, outsider_refused = 1, outsider_unknown = 2 };
Outsider outsiderOpen(const std::string& path) {
    auto tryOpen = [&path] {
        const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
        if (fd >= 0) ::close(fd);
        return fd >= 0 ? outsider_opens : outsider_refused;
    };
    if (geteuid() != 0) return tryOpen();
    chmod(path.c_str(), 0666);
    const pid_t child = fork();
    if (child == 0) {
        _exit(setgid(65534) == 0 && setuid(65534) == 0 ? tryOpen() : outsider_unknown);
    }
    int status = 0;
    if (!eventually([&] { return waitpid(child, &status, WNOHANG) == child; }) ||
        !WIFEXITED(status)) {
        return outsider_unknown;
    }
    return static_cast<Outsider>(WEXITSTATUS(status));
}

// Line settings this platform cannot make: rates, parity, data bits, stop bits, and
// stop bits that do not fit the data bits.
struct Line {
    std::uint32_t baud;
    std::uint32_t parity;
    int data;
    std::uint32_t stop;
};
constexpr Line kUnsupported[] = {{14400, 0, 8, 0}, {0, 0, 8, 0},      {0xFFFFFFFF, 0, 8, 0},
                                 {9600, 5, 8, 0},  {9600, 0, 4, 0},   {9600, 0, 9, 0},
                                 {9600, 0, -1, 0}, {9600, 0, 261, 0}, {9600, 0, 8, 3},
                                 {9600, 0, 8, 1},  {9600, 0, 5, 2}};

// A read with nothing pending waits about 1 ms; this bound only shows it ends by itself.
constexpr double kEndsByItselfMs = 5000;

// The port opens the slave side of a pseudo-terminal; the test plays the device on the
// master side. The kernel's pseudo-terminal always runs 8 data bits without parity and
// rewrites those two settings, so they cannot be seen here; everything else can.
class SerialPortPty : public ::testing::Test {
protected:
    void SetUp() override {
        char name[256];
        ASSERT_EQ(openpty(&m_master, &m_slave, name, nullptr, nullptr), 0);
        m_path = name;
        ASSERT_TRUE(initSerialConfig(&m_config, name, Config::baud_115200, Config::parity_none, 8,
                                     Config::stop_bits_1));
    }
    void TearDown() override {
        if (m_master >= 0) ::close(m_master);
        ::close(m_slave);
    }

    // Up to count bytes the port wrote, collected until they came or the deadline passed.
    std::string fromPort(size_t count) {
        std::string got;
        char buffer[512];
        const auto end = Clock::now() + kGenerousDeadline;
        while (got.size() < count && Clock::now() < end) {
            pollfd p{m_master, POLLIN, 0};
            if (poll(&p, 1, 100) <= 0) continue;
            const ssize_t n = ::read(m_master, buffer, std::min(sizeof buffer, count - got.size()));
            if (n > 0) got.append(buffer, static_cast<size_t>(n));
        }
        return got;
    }
    void toPort(const std::string& bytes) {
        ASSERT_EQ(::write(m_master, bytes.data(), bytes.size()), ssize_t(bytes.size()));
    }
    // Up to count bytes through read(char*); each read gives up after about 1 ms.
    static std::string readBytes(SerialPort& port, size_t count) {
        std::string got;
        const auto end = Clock::now() + kGenerousDeadline;
        for (char c; got.size() < count && Clock::now() < end;) {
            if (port.read(&c) == 0) got.push_back(c);
        }
        return got;
    }
    int pendingInput() const {
        int count = -1;
        ioctl(m_slave, TIOCINQ, &count);
        return count;
    }
    termios lineSettings() const {
        termios t{};
        EXPECT_EQ(tcgetattr(m_master, &t), 0);
        return t;
    }
    speed_t lineSpeed() const {
        termios t = lineSettings();
        return cfgetospeed(&t);
    }

    int m_master = -1;
    int m_slave = -1;
    std::string m_path;  // "/dev/pts/N"
    Config m_config;
};

}  // namespace

TEST(SerialPortCodes, PortsThatDoNotOpen) {
    SerialPort port;
    EXPECT_EQ(port.open(), 1);
    port.setPortName("ttyS0");
    EXPECT_EQ(port.open(), 2);
    EXPECT_EQ(port.open(nullptr), 2);
    EXPECT_FALSE(port.isOpen());

    char c = 0;
    std::string s = "stale";
    const std::vector<int> codes = {port.close(),    port.read(&c),    port.read(&s),
                                    port.write('x'), port.write("x"s), port.write(std::string())};
    EXPECT_EQ(codes, (std::vector<int>{7, 4, 4, 5, 5, 0}));
    EXPECT_EQ(s, "");

    // Missing by path and by bare name, an empty name ("/dev/"), not a terminal.
    for (const char* name : {"/dev/korvane-no-such-tty", "korvane-no-such-tty", "", "/dev/null"}) {
        SCOPED_TRACE(name);
        Config config;
        ASSERT_TRUE(initSerialConfig(&config, name, Config::baud_9600, Config::parity_none, 8,
                                     Config::stop_bits_1));
        SerialPort missing(&config);
        EXPECT_EQ(missing.open(), 3);
        EXPECT_FALSE(missing.isOpen());
    }
}

TEST(SerialConfigText, FillsTheWholeConfiguration) {
    Config config;
    config.outX = config.discardNull = true;
    config.evtChar = 'e';
    ASSERT_TRUE(initSerialConfig(&config, "ttyUSB0", Config::baud_9600, Config::parity_even, 8,
                                 Config::stop_bits_1));
    EXPECT_EQ(config.portName, "ttyUSB0");
    EXPECT_EQ(std::vector<unsigned>({config.baudRate, config.parity, config.byteSize,
                                     config.stopBits, config.dtrControl, config.rtsControl,
                                     config.xonLim, config.xoffLim}),
              std::vector<unsigned>({9600, 2, 8, 0, 1, 1, 1000, 1000}));
    EXPECT_TRUE(config.parityCheck);
    EXPECT_FALSE(config.outxCtsFlow || config.outX || config.inX || config.discardNull);
    EXPECT_EQ(std::string({config.xonChar, config.xoffChar, config.errorChar, config.eofChar,
                           config.evtChar}),
              std::string("\xFF\xFE\0\0\0", 5));

    ASSERT_TRUE(initSerialConfig(&config, nullptr, Config::baud_4000000, Config::parity_none, 5,
                                 Config::stop_bits_1_5));
    EXPECT_EQ(config.portName, "");
    EXPECT_EQ(config.stopBits, 1u);
    EXPECT_FALSE(config.parityCheck);
}

TEST(SerialConfigText, UnsupportedSettingsLeaveTheConfigurationUnchanged) {
    for (const Line& line : kUnsupported) {
        SCOPED_TRACE(&line - kUnsupported);
        Config config;
        config.portName = "kept";
        config.baudRate = 1;
        EXPECT_FALSE(initSerialConfig(&config, "other", Config::baud_rate_enum(line.baud),
                                      Config::parity_enum(line.parity), line.data,
                                      Config::stop_bits_enum(line.stop)));
        EXPECT_EQ(config.portName, "kept");
        EXPECT_EQ(config.baudRate, 1u);
        EXPECT_EQ(config.xonLim, 0u);
    }
    EXPECT_FALSE(initSerialConfig(nullptr, "ttyS0", Config::baud_9600, Config::parity_none, 8,
                                  Config::stop_bits_1));
}

// A new configuration, given while the port is open, waits for the next open.
TEST_F(SerialPortPty, OpensOnceByPathOrBareNameAndClosesOnce) {
    SerialPort port;
    EXPECT_EQ(port.open(&m_config), 0);
    EXPECT_TRUE(port.isOpen());
    m_config.baudRate = Config::baud_230400;
    EXPECT_EQ(port.open(&m_config), 0);
    EXPECT_EQ(lineSpeed(), speed_t(B115200));
    EXPECT_EQ(port.close(), 0);
    EXPECT_EQ(port.close(), 7);
    EXPECT_FALSE(port.isOpen());

    port.setPortName(m_path.substr(std::string("/dev/").size()).c_str());  // "pts/N"
    EXPECT_EQ(port.open(), 0);
    EXPECT_EQ(lineSpeed(), speed_t(B230400));
    EXPECT_EQ(port.close(), 0);
}

// Another user's open is checked only where the test can act as one.
TEST_F(SerialPortPty, OthersAreKeptOutUntilClose) {
    SerialPort first(&m_config);
    SerialPort second(&m_config);
    const bool outsiderKnown = outsiderOpen(m_path) == outsider_opens;
    ASSERT_EQ(first.open(), 0);
    EXPECT_EQ(second.open(), 3);
    EXPECT_TRUE(!outsiderKnown || outsiderOpen(m_path) == outsider_refused);
    EXPECT_EQ(first.close(), 0);
    EXPECT_TRUE(!outsiderKnown || outsiderOpen(m_path) == outsider_opens);
    EXPECT_EQ(second.open(), 0);
}

TEST_F(SerialPortPty, EveryByteValueCrossesUnchangedBothWays) {
    std::string all;
    for (int b = 0; b < 256; ++b) all.push_back(static_cast<char>(b));
    SerialPort port(&m_config);
    ASSERT_EQ(port.open(), 0);
    EXPECT_EQ(port.write(std::string()), 0);  // sends nothing: the device sees only what follows
    EXPECT_EQ(port.write(all), 0);
    EXPECT_EQ(port.lastCount(), 1u);
    EXPECT_EQ(fromPort(all.size()), all);

    toPort(all);
    EXPECT_EQ(readBytes(port, all.size()), all);
    EXPECT_EQ(port.write('!'), 0);  // nothing was echoed back to the device
    EXPECT_EQ(fromPort(1), "!");

    // read(std::string*) ends at each pause, so a reply may come in pieces.
    const std::string sent("OK\0X=10.5\r", 10);
    toPort(sent);
    std::string reply;
    EXPECT_TRUE(eventually([&] {
        std::string piece = "stale";
        EXPECT_EQ(port.read(&piece), 4);
        reply += piece;
        return reply.size() >= sent.size();
    }));
    EXPECT_EQ(reply, sent);
}

// The interval time-out is set but never makes a one-byte read wait: 0 and a minute
// both end each read after about a millisecond.
TEST_F(SerialPortPty, ReadsWithNothingPendingEndByThemselves) {
    for (unsigned long interval : {0ul, 60000ul}) {
        SCOPED_TRACE(interval);
        SerialPort port(&m_config);
        port.setTimeOut(interval);
        ASSERT_EQ(port.open(), 0);
        char c;
        auto start = Clock::now();
        EXPECT_EQ(port.read(&c), 4);
        EXPECT_EQ(port.lastCount(), 0u);
        EXPECT_GE(elapsedMs(start), 1.0);
        EXPECT_LT(elapsedMs(start), kEndsByItselfMs);

        std::string s = "stale";
        start = Clock::now();
        EXPECT_EQ(port.read(&s), 4);
        EXPECT_EQ(s, "");
        EXPECT_LT(elapsedMs(start), kEndsByItselfMs);
    }
}

TEST_F(SerialPortPty, ClearDiscardsPendingInputAndDiscardNullSkipsNulBytes) {
    m_config.discardNull = true;
    SerialPort port(&m_config);
    ASSERT_EQ(port.open(), 0);
    toPort("junk");
    ASSERT_TRUE(eventually([&] { return pendingInput() == 4; }));
    port.clear();
    EXPECT_EQ(pendingInput(), 0);
    toPort(std::string("\0a\0\0b", 5));
    EXPECT_EQ(readBytes(port, 2), "ab");
}

TEST_F(SerialPortPty, DeviceThatHangsUpEndsReadsAndWrites) {
    SerialPort port(&m_config);
    ASSERT_EQ(port.open(), 0);
    ::close(m_master);
    m_master = -1;
    char c;
    const auto start = Clock::now();
    EXPECT_EQ(port.read(&c), 4);
    EXPECT_EQ(port.write('x'), 5);
    EXPECT_LT(elapsedMs(start), kEndsByItselfMs);
    EXPECT_EQ(port.close(), 0);
}

TEST_F(SerialPortPty, ConfigurationSeenFromTheDeviceSide) {
    using C = Config;
    struct Case {
        C::baud_rate_enum baud;
        C::parity_enum parity;
        int data;
        C::stop_bits_enum stop;
        void (*tweak)(Config*);
        speed_t speed;
        tcflag_t cflags;  // of CSTOPB, PARODD, CMSPAR, CRTSCTS
        tcflag_t iflags;  // of INPCK, IGNPAR, IXON, IXOFF
    };
    const tcflag_t checked = INPCK | IGNPAR;
    const Case cases[] = {
        {C::baud_9600, C::parity_even, 8, C::stop_bits_1, nullptr, B9600, 0, checked},
        {C::baud_19200, C::parity_odd, 7, C::stop_bits_2, nullptr, B19200, CSTOPB | PARODD,
         checked},
        {C::baud_57600, C::parity_mark, 8, C::stop_bits_1, nullptr, B57600, CMSPAR | PARODD,
         checked},
        {C::baud_115200, C::parity_space, 6, C::stop_bits_2, nullptr, B115200, CMSPAR | CSTOPB,
         checked},
        {C::baud_4000000, C::parity_none, 5, C::stop_bits_1_5, nullptr, B4000000, CSTOPB, 0},
        // Flow control, and bytes with errors read as NUL instead of dropped.
        {C::baud_50, C::parity_none, 8, C::stop_bits_1, [](C* c) { c->outxCtsFlow = true; }, B50,
         CRTSCTS, 0},
        {C::baud_50, C::parity_none, 8, C::stop_bits_1, [](C* c) { c->rtsControl = 2; }, B50,
         CRTSCTS, 0},
        {C::baud_50, C::parity_none, 8, C::stop_bits_1, [](C* c) { c->outX = true; }, B50, 0, IXON},
        {C::baud_50, C::parity_none, 8, C::stop_bits_1, [](C* c) { c->inX = true; }, B50, 0, IXOFF},
        {C::baud_50, C::parity_even, 8, C::stop_bits_1, [](C* c) { c->errorCharEnabled = true; },
         B50, 0, INPCK},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        ASSERT_TRUE(initSerialConfig(&m_config, m_path.c_str(), c.baud, c.parity, c.data, c.stop));
        m_config.xonChar = 0x11;
        m_config.xoffChar = 0x13;
        if (c.tweak) c.tweak(&m_config);
        SerialPort port(&m_config);
        ASSERT_EQ(port.open(), 0);
        const termios t = lineSettings();
        EXPECT_EQ(cfgetispeed(&t), c.speed);
        EXPECT_EQ(lineSpeed(), c.speed);
        EXPECT_EQ(t.c_cflag & (CSTOPB | PARODD | CMSPAR | CRTSCTS), c.cflags);
        EXPECT_EQ(t.c_cflag & (CREAD | CLOCAL), tcflag_t(CREAD | CLOCAL));
        EXPECT_EQ(t.c_iflag & (INPCK | IGNPAR | PARMRK | IXON | IXOFF | ICRNL | ISTRIP | IGNBRK),
                  c.iflags | IGNBRK);
        EXPECT_EQ(t.c_lflag & (ICANON | ECHO | ISIG | IEXTEN), 0u);
        EXPECT_EQ(t.c_oflag & OPOST, 0u);
        EXPECT_EQ(t.c_cc[VSTART], 0x11);
        EXPECT_EQ(t.c_cc[VSTOP], 0x13);
    }
}

TEST_F(SerialPortPty, UnusableConfigurationLeavesThePortOpen) {
    for (const Line& line : kUnsupported) {
        if (line.data < 0 || line.data > 255) continue;  // not a byte size
        SCOPED_TRACE(&line - kUnsupported);
        Config config = m_config;
        config.baudRate = line.baud;
        config.parity = line.parity;
        config.byteSize = static_cast<std::uint8_t>(line.data);
        config.stopBits = line.stop;
        SerialPort port;
        EXPECT_EQ(port.open(&config), 6);
        EXPECT_TRUE(port.isOpen());
        EXPECT_EQ(port.close(), 0);
    }
}
