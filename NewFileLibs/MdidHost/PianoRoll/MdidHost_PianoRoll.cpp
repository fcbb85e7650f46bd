#include "MdidHost/PianoRoll/MdidHost_PianoRoll.h"

#include "MdidHost/PianoRoll/MdidHost_PianoRollContents_Private.h"
#include "MdidHost/PianoRoll/MdidHost_PianoRollPainter_Private.h"

#include <algorithm>
#include <array>
#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <charconv>
#include <cmath>
#include <exception>
#include <memory>
#include <stdexcept>

using namespace MdidHost_Roll;

namespace
{

using Format = MdidHost_PianoRoll::Format;

// Of one picture; of PNG also in pixels.
constexpr double kMaxHeight = 32'000;
constexpr double kMaxPixels = 64e6;

constexpr std::size_t kMaxPages = 500;

// A4, landscape, in points.
constexpr double kPaperWidth = 841.89;
constexpr double kPaperHeight = 595.28;

struct Destroy
{
    void operator()(cairo_surface_t* iSurfaceP) const { cairo_surface_destroy(iSurfaceP); }
    void operator()(cairo_t* iCairoP) const { cairo_destroy(iCairoP); }
};
using Surface = std::unique_ptr<cairo_surface_t, Destroy>;
using Cairo = std::unique_ptr<cairo_t, Destroy>;

void Verify(cairo_status_t iStatus)
{
    if (iStatus == CAIRO_STATUS_NO_MEMORY)
        throw std::bad_alloc();
    if (iStatus != CAIRO_STATUS_SUCCESS)
        throw std::runtime_error(std::string("the picture cannot be drawn: ") + cairo_status_to_string(iStatus));
}

// What the library writes goes to the stream. No exception may pass through the library, so that one waits here.
class Sink
{
public:
    explicit Sink(Cmn_OutStream& ioStream) : mStream(ioStream) {}

    static cairo_status_t Write(void* ioSinkP, const unsigned char* iBytes, unsigned iCount)
    {
        Sink& sink = *static_cast<Sink*>(ioSinkP);
        if (sink.mFailure)
            return CAIRO_STATUS_WRITE_ERROR;
        try
        {
            sink.mStream.WriteBlock(iBytes, iCount);
            return CAIRO_STATUS_SUCCESS;
        }
        catch (...)
        {
            sink.mFailure = std::current_exception();
            return CAIRO_STATUS_WRITE_ERROR;
        }
    }

    void Rethrow() const
    {
        if (mFailure)
            std::rethrow_exception(mFailure);
    }

private:
    Cmn_OutStream& mStream;
    std::exception_ptr mFailure;
};

// Texts are as wide as without a grid of pixels, so that all formats have one layout.
Cairo MakeCairo(const Surface& iSurface)
{
    Verify(cairo_surface_status(iSurface.get()));
    Cairo cairo(cairo_create(iSurface.get()));
    Verify(cairo_status(cairo.get()));
    const std::unique_ptr<cairo_font_options_t, decltype(&cairo_font_options_destroy)> options(
        cairo_font_options_create(), cairo_font_options_destroy);
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    cairo_set_font_options(cairo.get(), options.get());
    return cairo;
}

void DrawOnePage(const Layout& iLayout, const MdidHost_PianoRoll& iRoll, Format iFormat, Sink& ioSink)
{
    const Page page = iLayout.MakePages().front();
    if (page.mHeight > kMaxHeight || (iFormat == Format::kPNG && page.mHeight * iLayout.GetWidth() > kMaxPixels))
        throw std::length_error("too high for one picture: choose a part of it, or PDF");
    const Surface surface(
        iFormat == Format::kPNG
            ? cairo_image_surface_create(CAIRO_FORMAT_RGB24, iRoll.mWidth, static_cast<int>(page.mHeight))
            : cairo_svg_surface_create_for_stream(Sink::Write, &ioSink, iLayout.GetWidth(), page.mHeight));
    const Cairo cairo = MakeCairo(surface);
    Painter(*cairo, iLayout, iRoll.mTitle).PaintPage(page, 1, 1);
    Verify(cairo_status(cairo.get()));
    if (iFormat == Format::kPNG)
        Verify(cairo_surface_write_to_png_stream(surface.get(), Sink::Write, &ioSink));
    cairo_surface_finish(surface.get());
    Verify(cairo_surface_status(surface.get()));
}

void DrawPages(const Layout& iLayout, const MdidHost_PianoRoll& iRoll, Sink& ioSink)
{
    const double scale = kPaperWidth / iLayout.GetWidth();
    const std::vector<Page> pages = iLayout.MakePages();
    if (pages.size() > kMaxPages)
        throw std::length_error("more than " + std::to_string(kMaxPages) +
                                " pages make no readable piano roll: choose a part of it");
    const double height = std::max(kPaperHeight, pages.front().mHeight * scale);
    const Surface surface(cairo_pdf_surface_create_for_stream(Sink::Write, &ioSink, kPaperWidth, height));
    const Cairo cairo = MakeCairo(surface);
    cairo_scale(cairo.get(), scale, scale);
    Painter painter(*cairo, iLayout, iRoll.mTitle);
    for (std::size_t i = 0; i < pages.size(); ++i)
    {
        painter.PaintPage(pages[i], i + 1, pages.size());
        cairo_show_page(cairo.get());
        Verify(cairo_status(cairo.get()));
    }
    cairo_surface_finish(surface.get());
    Verify(cairo_surface_status(surface.get()));
}

std::optional<Mdie_SubStream> ParseLane(std::string_view iWord)
{
    if (iWord == "bend")
        return Mdie_SubStream::PitchBend();
    if (iWord == "pressure")
        return Mdie_SubStream::MonoPressure();
    int number = 0;
    const auto [restP, error] = std::from_chars(iWord.data(), iWord.data() + iWord.size(), number);
    const Mdie_SubStream lane = Mdie_SubStream::Controller(number);
    const bool isNumber = error == std::errc() && restP == iWord.data() + iWord.size();
    return isNumber && lane.IsLane() ? std::optional(lane) : std::nullopt;
}

} // namespace

std::optional<Format> MdidHost_PianoRoll::FormatOf(std::string_view iFile)
{
    static constexpr std::array<std::pair<std::string_view, Format>, 3> kEndings{
        {{".svg", Format::kSVG}, {".png", Format::kPNG}, {".pdf", Format::kPDF}}};
    std::string ending(iFile.substr(iFile.size() - std::min<std::size_t>(iFile.size(), 4)));
    std::ranges::transform(ending, ending.begin(), [](char i) { return i >= 'A' && i <= 'Z' ? i + ('a' - 'A') : i; });
    const auto found = std::ranges::find(kEndings, ending, [](const auto& iEnding) { return iEnding.first; });
    return found == kEndings.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::vector<Mdie_SubStream>> MdidHost_PianoRoll::ParseLanes(std::string_view iText)
{
    std::vector<Mdie_SubStream> lanes;
    for (std::size_t start = 0; start <= iText.size();)
    {
        const std::size_t end = std::min(iText.find(',', start), iText.size());
        const auto lane = ParseLane(iText.substr(start, end - start));
        if (!lane)
            return {};
        if (std::ranges::none_of(lanes, [&](const auto& other) { return IsSameLane(other, *lane); }))
            lanes.push_back(*lane);
        start = end + 1;
    }
    return lanes;
}

bool MdidHost_PianoRoll::IsLane(const Mdie_SubStream& iLane)
{
    return iLane.IsLane() && iLane.GetDataType().GetDataType() != Mdie_SubStreamDataType::kProgram;
}

void MdidHost_DrawPianoRoll(const MdidHost_Session& iSession, const MdidHost_PianoRoll& iRoll, Format iFormat,
                            Cmn_OutStream& ioStream)
{
    const MdidHost_Session::Scope scope(iSession);
    const Surface ruler(cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1));
    const Cairo cairo = MakeCairo(ruler);
    const double pageHeight = iFormat == Format::kPDF ? std::floor(kPaperHeight * iRoll.mWidth / kPaperWidth) : 0;
    const Layout layout(iSession, iRoll, pageHeight,
                        [&cairo](const std::string& iText, double iSize)
                        { return Painter::WidthOf(*cairo, iText, iSize); });
    Sink sink(ioStream);
    try
    {
        if (iFormat == Format::kPDF)
            DrawPages(layout, iRoll, sink);
        else
            DrawOnePage(layout, iRoll, iFormat, sink);
    }
    catch (...)
    {
        sink.Rethrow();
        throw;
    }
    sink.Rethrow();
}
