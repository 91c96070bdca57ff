#pragma once
// SerialPort talks to one serial line byte by byte (motion, light and lens controllers);
// SerialConfig is the line's whole configuration and initSerialConfig fills one from
// the usual four settings. The core never opens a port itself: plug-ins own their
// ports. A SerialPort has no lock: one thread at a time uses it. Failures come back as
// the result codes below; nothing is logged, nothing is thrown, errno is not kept.
//
// Port names: a name beginning with '/' is a device path ("/dev/ttyUSB0",
// "/dev/serial/by-id/..."); any other name is taken under "/dev/" ("ttyS0" opens
// "/dev/ttyS0", "pts/3" opens "/dev/pts/3"). The device must be a terminal. It is
// opened read-write, without becoming the controlling terminal, exclusively until
// close: later opens are refused (TIOCEXCL, which does not stop root), and so is a
// second SerialPort or any program that locks the device with flock(), root or not;
// an open that meets either fails with 3.
//
// How long calls wait (the time-outs set by open):
// - Every read asks for one byte and waits at most about 1 ms for it (the total
//   read time-out: 1 ms per byte asked for, no constant). read(char*) with nothing
//   pending returns 4 after about 1 ms; read(std::string*) and clear() end at the
//   first pause of about 1 ms on the line. A reply that arrives in pieces therefore
//   needs a loop of your own, with your own deadline (see the example).
// - setTimeOut(ms) sets the interval time-out that the next open() gives the line: the
//   longest pause allowed between two bytes of one read request. A request is always
//   one byte, so this limit never comes into play: setTimeOut changes nothing about
//   how long a read waits, and setTimeOut(0) (the default: no interval limit) does not
//   make reads wait forever either. No read waits longer than the 1 ms above.
// - Every write hands one byte to the driver and waits at most about 1 ms for room in
//   its output buffer (write total time-out: 1 ms per byte, no constant). The buffer
//   holds about 4 KB, so commands go out at once; a write fails with 5 when the buffer
//   stays full for that long: the line is held up (flow control, a stalled adapter),
//   or a long transfer outruns a slow line (at 9600 baud a byte takes about 1 ms to
//   send): pace such transfers yourself.
// - A line that never pauses for 1 ms keeps read(std::string*) and clear() reading
//   for as long as the data flows.
//
// Example: a request and its reply, ended by '\r', from a stage controller.
//
//   Korvane::SerialConfig config;
//   if (!Korvane::initSerialConfig(&config, "ttyUSB0", Korvane::SerialConfig::baud_115200,
//                                  Korvane::SerialConfig::parity_none, 8,
//                                  Korvane::SerialConfig::stop_bits_1))
//       return false;  // a setting this platform cannot do
//   Korvane::SerialPort port;
//   if (port.open(&config) != Korvane::SerialPort::ok) return false;  // see the codes
//   port.clear();  // drop what an earlier exchange left behind
//   if (port.write(std::string("POS?\r")) != Korvane::SerialPort::ok) return false;
//   std::string reply, piece;
//   const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
//   while (reply.find('\r') == std::string::npos && std::chrono::steady_clock::now() < until) {
//       port.read(&piece);  // 4 at each pause; piece holds what came before it
//       reply += piece;
//   }

#include <korvane/core/Export.h>

#include <cstdint>
#include <memory>
#include <string>

namespace Korvane {

// The line configuration. setConfig and open(SerialConfig*) copy it; the caller keeps
// its own. How each field is applied on Linux (termios):
// - baudRate: one of baud_rate_enum, as both input and output rate; others fail (6).
// - byteSize 5 to 8 data bits. stopBits: stop_bits_1; stop_bits_2 with 6 to 8 data
//   bits; stop_bits_1_5 with 5 data bits (the UART sends 1.5 stop bits for a 5-bit
//   byte when asked for two). Any other combination fails (6).
// - parity: none, odd or even; mark and space where the system has "stick" parity
//   (CMSPAR, present on Linux). A system without it refuses mark and space:
//   initSerialConfig returns false and open returns 6. A driver that lacks stick
//   parity may fall back to odd or even parity without telling.
// - parityCheck: received bytes are checked (INPCK); a byte with a parity or framing
//   error is dropped, or read as a NUL byte when errorCharEnabled is set (errorChar
//   itself cannot be chosen here). Without parityCheck bytes arrive as received.
// - outxCtsFlow, or rtsControl 2 (handshake): RTS/CTS flow control in both directions
//   (CRTSCTS), the driver then drives RTS. outX: XON/XOFF on output (IXON); inX:
//   XON/XOFF on input (IXOFF); xonChar and xoffChar are the two flow bytes. Note that
//   initSerialConfig sets them to 0xFF and 0xFE: set 0x11 and 0x13 for the usual ones.
// - dtrControl 0 lowers DTR, 1 and 2 raise it; rtsControl 0 lowers RTS, 1 and 3
//   raise it (no toggle mode here). Devices without modem lines (pseudo-terminals,
//   some USB adapters) ignore this.
// - discardNull: NUL bytes received are skipped by every read.
// - Ignored here, the system has nothing like them: outxDsrFlow, dsrSensitivity,
//   txContinueOnXoff, xonLim, xoffLim, eofChar, evtChar.
// - Always: raw bytes both ways (no echo, no line editing, no signals, no CR/LF
//   translation), modem status lines do not hang up the port, and a break on the
//   line is ignored rather than read as a NUL byte.
struct KORVANE_API SerialConfig {
    // The rates this platform sets; the values are the rates in bits per second.
    enum baud_rate_enum : std::uint32_t {
        baud_50 = 50,
        baud_75 = 75,
        baud_110 = 110,
        baud_134 = 134,
        baud_150 = 150,
        baud_200 = 200,
        baud_300 = 300,
        baud_600 = 600,
        baud_1200 = 1200,
        baud_1800 = 1800,
        baud_2400 = 2400,
        baud_4800 = 4800,
        baud_9600 = 9600,
        baud_19200 = 19200,
        baud_38400 = 38400,
        baud_57600 = 57600,
        baud_115200 = 115200,
        baud_230400 = 230400,
        baud_460800 = 460800,
        baud_500000 = 500000,
        baud_576000 = 576000,
        baud_921600 = 921600,
        baud_1000000 = 1000000,
        baud_1152000 = 1152000,
        baud_1500000 = 1500000,
        baud_2000000 = 2000000,
        baud_2500000 = 2500000,
        baud_3000000 = 3000000,
        baud_3500000 = 3500000,
        baud_4000000 = 4000000,
    };
    enum parity_enum : std::uint32_t {
        parity_none = 0,
        parity_odd = 1,
        parity_even = 2,
        parity_mark = 3,
        parity_space = 4,
    };
    enum stop_bits_enum : std::uint32_t {
        stop_bits_1 = 0,
        stop_bits_1_5 = 1,
        stop_bits_2 = 2,
    };

    std::string portName;           // "ttyUSB0" or a device path
    std::uint32_t baudRate = 0;     // bits per second
    bool parityCheck = false;       // check received bytes
    bool outxCtsFlow = false;       // CTS output flow control
    bool outxDsrFlow = false;       // DSR output flow control (ignored)
    bool dsrSensitivity = false;    // ignore input unless DSR is high (ignored)
    std::uint32_t dtrControl = 0;   // 0 disable, 1 enable, 2 handshake
    std::uint32_t rtsControl = 0;   // 0 disable, 1 enable, 2 handshake, 3 toggle
    bool txContinueOnXoff = false;  // keep sending after XOFF (ignored)
    bool outX = false;              // XON/XOFF output flow control
    bool inX = false;               // XON/XOFF input flow control
    bool errorCharEnabled = false;  // bytes with errors read as NUL
    bool discardNull = false;       // skip received NUL bytes
    std::uint16_t xonLim = 0;       // (ignored)
    std::uint16_t xoffLim = 0;      // (ignored)
    std::uint8_t byteSize = 0;      // data bits, 5 to 8
    std::uint32_t parity = 0;       // a parity_enum
    std::uint32_t stopBits = 0;     // a stop_bits_enum
    char xonChar = 0;
    char xoffChar = 0;
    char errorChar = 0;  // (ignored: errors read as NUL)
    char eofChar = 0;    // (ignored)
    char evtChar = 0;    // (ignored)
};

// Fills *config for portName from the text "baud=%i parity=%c data=%i stop=%s" it
// formats (parity letters n, o, e, m, s; stop texts "1", "1.5", "2") and reads back.
// False, with *config unchanged, for a null config, a rate outside baud_rate_enum, a
// parity outside parity_enum (mark and space where the system has them), data bits
// outside 5 to 8, or stop bits outside stop_bits_enum or not fitting the data bits
// (see SerialConfig). Otherwise sets every field: the four settings, parityCheck
// exactly when there is parity, DTR and RTS raised (1), no flow control, xonLim and
// xoffLim 1000, xonChar 0xFF, xoffChar 0xFE, the other characters 0 and the other
// flags false; a null portName is stored as empty.
KORVANE_API bool initSerialConfig(SerialConfig* config, const char* portName,
                                  SerialConfig::baud_rate_enum baud,
                                  SerialConfig::parity_enum parity, int dataBits,
                                  SerialConfig::stop_bits_enum stopBits);

class KORVANE_API SerialPort {
public:
    // Bytes moved by each read or write request.
    static constexpr std::uint32_t ioSize = 1;

    // The results of open, close, read and write.
    enum result_enum : int {
        ok = 0,             // success; also open() on a port that is already open
        no_port_name = 1,   // open: no port name was set
        no_config = 2,      // open: no configuration was set (or a null one given)
        open_failed = 3,    // open: missing, not a terminal, or in use
        read_failed = 4,    // read: no byte within the time-out, or the read failed
        write_failed = 5,   // write: not written within the time-out, or failed
        config_failed = 6,  // open: the configuration cannot be applied; still open
        close_failed = 7,   // close: the port was not open, or the device reported an error
    };

    // Closed, no port name, no configuration, interval time-out 0.
    SerialPort();
    // As above, then setConfig(config).
    explicit SerialPort(SerialConfig* config);
    // Closes the port.
    ~SerialPort();
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;

    // Copies the configuration and its port name for the next open; an open port keeps
    // its settings until it is opened again. A null config changes nothing.
    void setConfig(SerialConfig* config);
    // The port to open next; counts as set even when empty (open then fails with 3).
    void setPortName(const char* name);
    // The interval time-out for the next open (see the header comment: it does not
    // change how long reads wait).
    void setTimeOut(unsigned long ms);

    // 0 at once when already open; 1 without a port name; 2 without a configuration;
    // 3 when the device cannot be opened; 6 when it is open but the configuration
    // cannot be applied (it stays open: close it).
    int open();
    // setConfig(config), then open(); 2 for a null config.
    int open(SerialConfig* config);
    // 0 and closed; 7 when the port was not open, or when the device reported an error
    // on closing (the port is closed all the same).
    int close();
    bool isOpen() const;

    // One byte into *c within about 1 ms: 0, else 4 (nothing came, closed port, null c,
    // the device hung up). *c is unspecified after 4.
    int read(char* c);
    // Empties *s and appends bytes until a read brings none; always 4, with *s holding
    // what was read (empty when nothing was pending). 4 and nothing read for null s.
    int read(std::string* s);
    // One byte: 0, or 5 when it was not accepted within about 1 ms or the port is closed.
    int write(char c);
    // The bytes one by one: 5 at the first that fails, else 0 (0 for an empty string,
    // which makes no system call).
    int write(const std::string& s);
    // Discards input by reading until a read brings no byte (about 1 ms of quiet).
    void clear();

    const std::string& portName() const { return m_portName; }
    unsigned long timeOut() const { return m_timeout; }
    // Bytes moved by the last one-byte read or write call: 1 or 0.
    std::uint32_t lastCount() const { return m_lastCount; }

private:
    struct Private;

    bool readByte(char* c);
    bool writeByte(char c);

    std::uint32_t m_lastCount = 0;
    std::string m_portName;
    bool m_portNameSet = false;
    std::uint32_t m_timeout = 0;  // interval time-out in ms for the next open
    std::unique_ptr<Private> d;   // the open device and the copied configuration
};

}  // namespace Korvane
