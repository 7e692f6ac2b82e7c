#include "tests/tools/CommandServer.h"

#include "tools/TavolinMain.h"

#include <QByteArrayList>
#include <QDataStream>
#include <QFile>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <future>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr unsigned timeLimit = 120;         // seconds
constexpr int largestRequest = 1024 * 1024; // bytes; a socket takes less

// Owns a file descriptor.
class Descriptor
{
public:
    explicit Descriptor(int number = -1) : number(number) {}
    Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(number, other.number);
        return *this;
    }
    ~Descriptor()
    {
        if (number >= 0)
            close(number);
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

    int Number() const { return number; }

private:
    int number;
};

// Standard input, output and error of a run, and its working directory.
using RunDescriptors = std::array<Descriptor, 4>;
using Numbers = std::array<int, 4>;

struct Pipe
{
    Descriptor reading;
    Descriptor writing;
};

Pipe NewPipe()
{
    std::array<int, 2> ends = {-1, -1};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// A message of one part, with room for four descriptors. The bytes stay the caller's.
struct Message
{
    Message(char* bytes, size_t size) : part{bytes, size}
    {
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = control;
        header.msg_controllen = sizeof control;
    }
    Message(Message const&) = delete;
    Message& operator=(Message const&) = delete;

    iovec part;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(Numbers))] = {};
    msghdr header = {};
};

bool SendRequest(int socket, QByteArray request, RunDescriptors const& descriptors)
{
    Message message(request.data(), static_cast<size_t>(request.size()));
    Numbers numbers = {};
    for (size_t i = 0; i < numbers.size(); ++i)
        numbers[i] = descriptors[i].Number();
    cmsghdr* const control = CMSG_FIRSTHDR(&message.header);
    control->cmsg_level = SOL_SOCKET;
    control->cmsg_type = SCM_RIGHTS;
    control->cmsg_len = CMSG_LEN(sizeof numbers);
    std::memcpy(CMSG_DATA(control), numbers.data(), sizeof numbers);
    return sendmsg(socket, &message.header, MSG_NOSIGNAL) == request.size();
}

// Returns false when the other end is closed.
bool ReceiveRequest(int socket, QByteArray& request, RunDescriptors& descriptors)
{
    request.resize(largestRequest);
    Message message(request.data(), static_cast<size_t>(request.size()));
    auto const size = recvmsg(socket, &message.header, MSG_CMSG_CLOEXEC);
    cmsghdr const* const control = CMSG_FIRSTHDR(&message.header);
    if (size <= 0 || !control)
        return false;
    request.truncate(static_cast<int>(size));
    Numbers numbers = {};
    std::memcpy(numbers.data(), CMSG_DATA(control), sizeof numbers);
    for (size_t i = 0; i < numbers.size(); ++i)
        descriptors[i] = Descriptor(numbers[i]);
    return true;
}

QByteArray RequestFor(QStringList const& arguments)
{
    QByteArrayList words{TAVOLIN_COMMAND};
    for (QString const& argument : arguments)
        words << QFile::encodeName(argument);
    QByteArrayList environment;
    for (char** entry = environ; *entry; ++entry)
        environment << *entry;
    QByteArray request;
    QDataStream stream(&request, QIODevice::WriteOnly);
    stream << words << environment;
    return request;
}

void TakeEnvironment(QByteArrayList& environment)
{
    clearenv();
    for (QByteArray& entry : environment)
        putenv(entry.data());
}

// The forked process. An exception that leaves the command ends it here, as it would in main.
[[noreturn]] void BecomeCommand(QByteArray const& request, RunDescriptors const& descriptors) noexcept
{
    alarm(timeLimit); // its signal kills
    for (int i = STDIN_FILENO; i <= STDERR_FILENO; ++i)
        dup2(descriptors[static_cast<size_t>(i)].Number(), i);
    if (fchdir(descriptors.back().Number()) != 0)
        std::abort();
    QByteArrayList words;
    QByteArrayList environment;
    QDataStream stream(request);
    stream >> words >> environment;
    TakeEnvironment(environment);
    std::vector<char*> argv;
    for (QByteArray& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    std::exit(TavolinMain(static_cast<int>(words.size()), argv.data()));
}

// Runs one command after the other until the tests end. Answers with the status that waitpid gives.
[[noreturn]] void Serve(int socket)
{
    QByteArray request;
    for (;;) {
        RunDescriptors descriptors;
        if (!ReceiveRequest(socket, request, descriptors))
            _exit(0);
        pid_t const child = fork();
        if (child == 0)
            BecomeCommand(request, descriptors);
        int status = -1;
        if (child > 0)
            waitpid(child, &status, 0);
        send(socket, &status, sizeof status, MSG_NOSIGNAL);
    }
}

// The tests' side of the server.
class Server : public testing::Environment
{
public:
    void SetUp() override
    {
        std::array<int, 2> ends = {-1, -1};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
        connection = Descriptor(ends[0]);
        Descriptor const serversEnd(ends[1]);
        std::fflush(nullptr); // otherwise the server would have a copy of what is buffered
        process = fork();
        ASSERT_GE(process, 0);
        if (process == 0) {
            connection = Descriptor();
            Serve(serversEnd.Number());
        }
    }

    void TearDown() override
    {
        connection = Descriptor();
        if (process > 0)
            waitpid(process, nullptr, 0);
    }

    int Socket() const { return connection.Number(); }

private:
    Descriptor connection;
    pid_t process = -1;
};

Server* const server = static_cast<Server*>(testing::AddGlobalTestEnvironment(new Server));

QByteArray ReadToEnd(Descriptor const& pipe)
{
    QByteArray all;
    std::array<char, 65536> bytes;
    for (ssize_t size = 0; (size = read(pipe.Number(), bytes.data(), bytes.size())) > 0;)
        all.append(bytes.data(), static_cast<int>(size));
    return all;
}

} // namespace

ToolRun CommandServer::Run(QStringList const& arguments)
{
    Pipe output = NewPipe();
    Pipe errors = NewPipe();
    ToolRun run;
    {
        RunDescriptors const descriptors = {Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)),
                                            std::move(output.writing), std::move(errors.writing),
                                            Descriptor(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC))};
        if (!SendRequest(server->Socket(), RequestFor(arguments), descriptors)) {
            ADD_FAILURE() << "the command's server does not run: " << std::strerror(errno);
            return run;
        }
    }
    auto allErrors = std::async(std::launch::async, ReadToEnd, std::cref(errors.reading));
    run.output = ReadToEnd(output.reading);
    run.errors = allErrors.get();
    int status = -1;
    if (recv(server->Socket(), &status, sizeof status, 0) != sizeof status)
        ADD_FAILURE() << "the command's server has ended";
    else if (WIFEXITED(status))
        run.exitCode = WEXITSTATUS(status);
    if (run.exitCode == -1 || run.errors.contains("Sanitizer: "))
        ADD_FAILURE() << "tavolin " << arguments.join(' ').toStdString() << ": " << run.errors.toStdString();
    return run;
}
