// The Python module tavolin._tavolin. Everything that decodes or waits does so without the interpreter's lock, and asks
// for pending signals, Ctrl+C above all, a few times a second.

// Python's headers come first, and know nothing of Qt's keyword "slots".
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "common/Settings.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/RowBytes.h"
#include "media/AvGlobals.h"
#include "python/Reports.h"
#include "python/Video.h"

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include <QTextCodec>
#endif

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>

namespace py = pybind11;

namespace {

constexpr double secondUs = 1000000.0;
constexpr long long farthest = 1000000000000000000; // microseconds
constexpr int mostChannels = 64;                    // as the command has it: nothing is mixed down unsaid
constexpr double slowest = 0.01;
constexpr double fastest = 16.0;
constexpr auto signalInterval = std::chrono::milliseconds(50);

long long Microseconds(double seconds)
{
    if (std::isnan(seconds))
        throw py::value_error("a time is a number of seconds, and not NaN");
    double const time = seconds * secondUs;
    return std::fabs(time) < static_cast<double>(farthest) ? std::llround(time) : (time > 0.0 ? farthest : -farthest);
}

double Seconds(long long time)
{
    return static_cast<double>(time) / secondUs;
}

// As the command has it. The engine would take its default instead.
void RequireRate(double rate)
{
    if (!(rate >= Settings::MIN_IMAGE_SEQUENCE_FRAME_RATE && rate <= Settings::MAX_IMAGE_SEQUENCE_FRAME_RATE))
        throw py::value_error("rate is a number from 0.1 to 1000");
}

QString Text(std::string const& text)
{
    return QString::fromStdString(text);
}

[[noreturn]] void WaitForEnd()
{
    for (;;)
        pause();
}

// Takes the interpreter's lock. When the interpreter ends, Python ends each thread that asks for the lock, by unwinding
// its stack, also through destructors, where that aborts the process. Such a thread waits for the process's end
// instead.
void TakeLock(PyThreadState* state)
{
    try {
        if (Py_IsInitialized() == 0)
            WaitForEnd();
        PyEval_RestoreThread(state);
    } catch (...) { // what unwinds must not be let go of here
        WaitForEnd();
    }
}

// For its lifetime this thread is without the interpreter's lock.
class WithoutLock
{
public:
    WithoutLock() : state(PyEval_SaveThread()) {}
    ~WithoutLock() { TakeLock(state); }

    WithoutLock(WithoutLock const&) = delete;
    WithoutLock& operator=(WithoutLock const&) = delete;

    // True once a signal's handler has raised an exception, which then is set in this thread.
    StopCheck StopAtSignals() const
    {
        return [held = state, asked = std::chrono::steady_clock::now(), isRaised = false]() mutable {
            auto const now = std::chrono::steady_clock::now();
            if (isRaised || now - asked < signalInterval)
                return isRaised;
            asked = now;
            TakeLock(held);
            isRaised = PyErr_CheckSignals() != 0;
            PyEval_SaveThread();
            return isRaised;
        };
    }

private:
    PyThreadState* const state;
};

// What `work` gives, which runs without the interpreter's lock.
template <typename Work>
auto Unlocked(Work const& work)
{
    try {
        WithoutLock const unlocked;
        return work(unlocked.StopAtSignals());
    } catch (PictureSpan::Interrupted const&) {
        throw py::error_already_set();
    } catch (Video::Closed const&) {
        throw py::value_error("the video is closed");
    } catch (Video::Forked const&) {
        throw std::runtime_error("the video was opened before this process was forked: open it again in this one");
    }
}

// A picture as Python holds it. Its record belongs to it too, so that it outlives the video.
struct Frame
{
    Video::Picture record;

    long long Start() const { return record->startTime; }
    long long End() const { return record->endTime + 1; }
};

py::array PixelsOf(py::object const& self)
{
    DecodedVideoFrame const& record = *self.cast<Frame const&>().record;
    py::array pixels(py::dtype::of<uint8_t>(), {py::ssize_t(record.height), py::ssize_t(record.width), py::ssize_t(3)},
                     {py::ssize_t(PaddedRowBytes(record.width)), py::ssize_t(3), py::ssize_t(1)}, record.data, self);
    pixels.attr("setflags")(py::arg("write") = false);
    return pixels;
}

std::string Represent(Frame const& frame)
{
    return py::str("<tavolin.Frame {:.6f} s to {:.6f} s, {} x {}>")
        .format(Seconds(frame.Start()), Seconds(frame.End()), frame.record->width, frame.record->height)
        .cast<std::string>();
}

// The pictures of a span one after the other, either way. Threads that share it get each picture once.
class Frames
{
public:
    Frames(std::shared_ptr<Video> newVideo, long long newFrom, long long newTo)
        : video(std::move(newVideo)), from(newFrom), to(newTo)
    {}

    Frame Next()
    {
        Video::Picture const next = Unlocked([this](StopCheck const& stop) {
            std::lock_guard const lock(*mutex);
            return FindNext(stop);
        });
        if (!next)
            throw py::stop_iteration();
        return {next};
    }

private:
    Video::Picture FindNext(StopCheck const& stop)
    {
        if (isDone)
            return nullptr;
        picture = picture ? video->FindNeighbour(*picture, IsForwards(), stop) : First(stop);
        isDone = !picture || !IsWithin();
        return isDone ? nullptr : picture;
    }

    bool IsForwards() const { return from <= to; }
    bool IsWithin() const { return IsForwards() ? picture->startTime < to : picture->endTime >= to; }

    Video::Picture First(StopCheck const& stop)
    {
        if (IsForwards())
            return video->FindAt(std::max(from, 0LL), stop);
        if (from <= 0)
            return nullptr;
        Video::Picture const shown = video->FindAt(from - 1, stop);
        return shown ? shown : video->FindLast(stop);
    }

    std::shared_ptr<Video> video;
    long long from;
    long long to;
    std::unique_ptr<std::mutex> mutex = std::make_unique<std::mutex>(); // of the following
    Video::Picture picture;
    bool isDone = false;
};

std::shared_ptr<Video> Open(std::string const& path, long long cache, bool sequence, double rate,
                            std::string const& holes, std::string const& colours, bool toneMapping)
{
    if (cache < 0)
        throw py::value_error("cache is a number of bytes, not negative");
    if (holes != "hold" && holes != "black" && holes != "refuse")
        throw py::value_error("holes is \"hold\", \"black\" or \"refuse\"");
    if (colours != "stream" && colours != "plain")
        throw py::value_error("colours is \"stream\" or \"plain\"");
    RequireRate(rate);
    Video::Options options;
    options.cacheBytes = cache;
    options.isSequence = sequence;
    options.sequenceRate = rate;
    options.holes = holes;
    options.colours = {colours == "stream", toneMapping, /*exact=*/false};
    return Unlocked([&](StopCheck const& stop) { return std::make_shared<Video>(Text(path), options, stop); });
}

Frame At(Video& video, double seconds)
{
    long long const time = Microseconds(seconds);
    return {Unlocked([&](StopCheck const& stop) { return video.At(time, stop); })};
}

Frames FramesOf(std::shared_ptr<Video> const& video, double start, std::optional<double> stop)
{
    return {video, Microseconds(start), stop ? Microseconds(*stop) : farthest};
}

Frame Step(Video& video, Frame const& frame, long long count)
{
    if (count == 0)
        return frame;
    return {Unlocked([&](StopCheck const& stop) { return video.Step(*frame.record, count, stop); })};
}

py::array_t<short> SoundOf(Video& video, double start, std::optional<double> end, double speed)
{
    if (!(std::fabs(speed) >= slowest && std::fabs(speed) <= fastest))
        throw py::value_error("speed is from -16 to 16 and not nearer to 0 than 0.01");
    long long const from = Microseconds(start);
    long long const to = end ? Microseconds(*end) : farthest;
    if (to < from)
        throw py::value_error("the sound from start to stop: a negative speed turns it round");
    auto sound = std::make_unique<Video::Sound>(
        Unlocked([&](StopCheck const& stop) { return video.ReadSound(from, to, speed, stop); }));
    py::ssize_t const channels = sound->channels;
    py::ssize_t const count = static_cast<py::ssize_t>(sound->samples.size()) / channels;
    short const* const samples = sound->samples.data();
    py::capsule const owner(sound.release(), [](void* held) { delete static_cast<Video::Sound*>(held); });
    return py::array_t<short>({count, channels}, samples, owner);
}

std::optional<double> DurationOf(Video const& video)
{
    long long const duration = Unlocked([&](StopCheck const&) { return video.GetDuration(); });
    return duration < 0 ? std::nullopt : std::optional(Seconds(duration));
}

py::object Probe(std::string const& path, bool isQuick, bool sequence, double rate)
{
    RequireRate(rate);
    QByteArray const json = Unlocked([&](StopCheck const&) {
        return Reports::Describe(Text(path), {sequence, rate}, isQuick);
    });
    return py::module_::import("json").attr("loads")(py::bytes(json.constData(), static_cast<size_t>(json.size())));
}

// (pictures, seconds of sound, [(text, seconds or None), ...])
py::tuple Check(std::string const& path, bool sequence, double rate)
{
    RequireRate(rate);
    Reports::CheckReport const report = Unlocked([&](StopCheck const& stop) {
        return Reports::Check(Text(path), {sequence, rate}, stop);
    });
    py::list faults;
    for (Reports::Fault const& fault : report.faults)
        faults.append(
            py::make_tuple(fault.text, fault.time < 0 ? py::object(py::none()) : py::float_(Seconds(fault.time))));
    return py::make_tuple(report.pictures, Seconds(report.soundDuration), faults);
}

void DefineErrors(py::module_& module)
{
    // Never released, as the translator may be asked for as long as the process lives.
    static PyObject* const openError =
        py::exception<Video::OpenError>(module, "OpenError", PyExc_OSError).release().ptr();
    static PyObject* const decodeError =
        py::exception<Video::DecodeError>(module, "DecodeError", PyExc_RuntimeError).release().ptr();
    static PyObject* const rangeError =
        py::exception<Video::OutOfRange>(module, "RangeError", PyExc_IndexError).release().ptr();
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown)
                std::rethrow_exception(thrown);
        } catch (Video::OpenError const& error) {
            PyErr_SetString(openError, error.what());
        } catch (Video::DecodeError const& error) {
            PyErr_SetString(decodeError, error.what());
        } catch (Video::OutOfRange const& error) {
            PyErr_SetString(rangeError, error.what());
        }
    });
}

void DefineFrame(py::module_& module)
{
    py::class_<Frame>(module, "Frame", "One picture. It stays valid whatever becomes of the video.")
        .def_property_readonly("pixels", &PixelsOf,
                               "numpy.uint8 (height, width, 3), RGB: a read-only view without a copy. Rows may be "
                               "padded, and the picture is not turned: see rotation.")
        .def_property_readonly(
            "time", [](Frame const& frame) { return Seconds(frame.Start()); },
            "The first moment at which it shows, in seconds from the first picture.")
        .def_property_readonly(
            "end", [](Frame const& frame) { return Seconds(frame.End()); },
            "When the next picture follows, in seconds; it does not belong to this one.")
        .def_property_readonly("time_us", &Frame::Start, "The same as time, in exact microseconds.")
        .def_property_readonly("end_us", &Frame::End, "The same as end, in exact microseconds.")
        .def_property_readonly(
            "width", [](Frame const& frame) { return frame.record->width; }, "Pixels.")
        .def_property_readonly(
            "height", [](Frame const& frame) { return frame.record->height; }, "Pixels.")
        .def_property_readonly(
            "rotation", [](Frame const& frame) { return frame.record->rotation; },
            "Clockwise degrees by which to turn the picture for display.")
        .def("__repr__", &Represent);
}

void DefineVideo(py::module_& module)
{
    py::class_<Frames>(module, "FrameIterator", "Pictures one after the other; see Video.frames.")
        .def("__iter__", [](py::object const& self) { return self; })
        .def("__next__", &Frames::Next);

    auto const described = [](auto member) {
        return [member](Video const& video) { return video.Describe().*member; };
    };
    using Description = Video::Description;
    py::class_<Video, std::shared_ptr<Video>>(module, "Video", "An opened source; tavolin.open makes it. Any thread.")
        .def("at", &At, py::arg("time"),
             "The picture that shows at `time` seconds, exactly. RangeError before 0 and after the end; a still image "
             "shows at any time.")
        .def("frames", &FramesOf, py::arg("start") = 0.0, py::arg("stop") = py::none(),
             "The pictures that show from `start` up to `stop` seconds; with `stop` before `start`, the same pictures "
             "from the last to the first. Both are held to the pictures that there are.")
        .def("step", &Step, py::arg("frame"), py::arg("count") = 1,
             "The picture `count` pictures later, or earlier when negative. RangeError when there is none.")
        .def("sound", &SoundOf, py::arg("start") = 0.0, py::arg("stop") = py::none(), py::arg("speed") = 1.0,
             "numpy.int16 (samples, channels) from `start` up to `stop` seconds at sample_rate. At speed 1 they are "
             "the decoded samples, at others some are left out or repeated, below 0 they come last to first.")
        .def(
            "close", [](Video& video) { Unlocked([&](StopCheck const&) { video.Close(); }); },
            "Lets go of the file and of the cached pictures; frames that were handed out stay valid.")
        .def("__enter__", [](std::shared_ptr<Video> const& video) { return video; })
        .def("__exit__", [](Video& video, py::args const&) { Unlocked([&](StopCheck const&) { video.Close(); }); })
        .def("__iter__", [](std::shared_ptr<Video> const& video) { return Frames(video, 0, farthest); })
        .def("__reversed__", [](std::shared_ptr<Video> const& video) { return Frames(video, farthest, 0); })
        .def_property_readonly(
            "path", [](Video const& video) { return video.Describe().path.toStdString(); }, "As it was given to open.")
        .def_property_readonly("duration", &DurationOf,
                               "Seconds: as the container says until an end of the stream has been reached, exact from "
                               "then on. None when the container does not say; 0 for a still image.")
        .def_property_readonly("kind", described(&Description::kind),
                               "\"movie\", \"sound\", \"sound with cover art\", \"still image\" or \"sequence\".")
        .def_property_readonly("has_pictures", described(&Description::hasPictures), "Whether it has pictures.")
        .def_property_readonly("has_sound", described(&Description::hasSound), "Whether it has sound.")
        .def_property_readonly("width", described(&Description::width), "Of the first picture, in pixels; 0 without.")
        .def_property_readonly("height", described(&Description::height), "Of the first picture, in pixels; 0 without.")
        .def_property_readonly("rotation", described(&Description::rotation),
                               "Clockwise degrees by which to turn the pictures for display.")
        .def_property_readonly("frame_rate", described(&Description::frameRate),
                               "Pictures per second; 0 when the stream says none.")
        .def_property_readonly("channels", described(&Description::channels), "Of the sound; 0 without.")
        .def_property_readonly("sample_rate", described(&Description::sampleRate), "Of the sound, in Hz; 0 without.")
        .def("__repr__", [](Video const& video) {
            return py::str("<tavolin.Video {!r}, {}>")
                .format(video.Describe().path.toStdString(), video.Describe().kind)
                .cast<std::string>();
        });
}

// File names are UTF-8 in every locale, "C" included.
void UseUtf8ForFileNames()
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
#endif
}

// At its first use pybind11 imports NumPy, within the initialisation of a static. A second thread that came to it
// meanwhile would wait for that and keep the interpreter's lock, which the import needs.
void ImportNumPy()
{
    py::dtype::of<uint8_t>();
}

} // namespace

PYBIND11_MODULE(_tavolin, module)
{
    ImportNumPy();
    UseUtf8ForFileNames();
    AvGlobals::maxAudioOutputChannels = mostChannels;
    Reports::CollectMessages();
    DefineErrors(module);
    DefineFrame(module);
    DefineVideo(module);
    module.def("open", &Open, py::arg("path"), py::kw_only(), py::arg("cache"), py::arg("sequence"), py::arg("rate"),
               py::arg("holes"), py::arg("colours"), py::arg("tone_mapping"));
    module.def("probe", &Probe, py::arg("path"), py::arg("quick"), py::arg("sequence"), py::arg("rate"));
    module.def("check", &Check, py::arg("path"), py::arg("sequence"), py::arg("rate"));
    module.attr("__version__") = TAVOLIN_VERSION;
}
