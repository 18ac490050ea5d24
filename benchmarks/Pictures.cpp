#include "Pictures.h"

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace velmio::benchmarks {

namespace {

constexpr int Width = 900;
constexpr int LeftMargin = 330; // for the titles
constexpr int RightMargin = 60;

struct Style
{
    QString engine;
    QString label;
    QString colour;
};

const QList<Style> BarStyles{
    {u"embedded"_s, u"embedded engine"_s, u"#1b7837"_s},
    {u"variant"_s, u"values as QVariant"_s, u"#7fbf7b"_s},
    {u"host"_s, u"host over QtSql"_s, u"#998ec3"_s},
    {u"naive"_s, u"naive"_s, u"#d8b365"_s}};

const QStringList CurveColours{u"#636363"_s, u"#bdbdbd"_s, u"#1b7837"_s, u"#7fbf7b"_s};

/// An SVG document; y grows downwards.
class Drawing
{
public:
    explicit Drawing(int height)
    {
        text = u"<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%1\" height=\"%2\" "
               "font-family=\"sans-serif\" font-size=\"13\">\n"
               "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"_s.arg(Width)
                   .arg(height);
    }

    void bar(double x, double y, double width, double height, const QString& colour)
    {
        text += u"<rect x=\"%1\" y=\"%2\" width=\"%3\" height=\"%4\" fill=\"%5\"/>\n"_s.arg(x)
                    .arg(y)
                    .arg(width)
                    .arg(height)
                    .arg(colour);
    }

    void line(double x1, double y1, double x2, double y2, const QString& colour, double width = 1)
    {
        text += u"<line x1=\"%1\" y1=\"%2\" x2=\"%3\" y2=\"%4\" stroke=\"%5\" "
                "stroke-width=\"%6\"/>\n"_s.arg(x1)
                    .arg(y1)
                    .arg(x2)
                    .arg(y2)
                    .arg(colour)
                    .arg(width);
    }

    void label(double x, double y, const QString& label, const QString& anchor = u"start"_s)
    {
        text += u"<text x=\"%1\" y=\"%2\" text-anchor=\"%3\">%4</text>\n"_s.arg(x).arg(y).arg(
            anchor, label.toHtmlEscaped());
    }

    QString document() const { return text + u"</svg>\n"_s; }

private:
    QString text;
};

/// Maps values to positions on a logarithmic axis.
struct Axis
{
    double least;
    double most;
    double from;
    double to;

    double at(double value) const
    {
        const double part = std::log(std::clamp(value, least, most) / least);
        return from + (to - from) * part / std::log(most / least);
    }
};

constexpr Axis RatioAxis{0.5, 16, LeftMargin, Width - RightMargin};
constexpr int BarHeight = 11;
constexpr int Head = 40;

void drawBars(Drawing& drawing, const Comparison& comparison, double& y)
{
    drawing.label(LeftMargin - 8, y + BarHeight, comparison.workload.title, u"end"_s);
    for (const Style& style : BarStyles) {
        const double ratio = comparison.ratio(style.engine);
        if (ratio == 0)
            continue;
        const double end = RatioAxis.at(ratio);
        drawing.bar(LeftMargin, y, end - LeftMargin, BarHeight, style.colour);
        drawing.label(end + 4, y + BarHeight - 1, QString::number(ratio, 'f', 2));
        const double goal = style.engine == u"embedded" ? comparison.workload.embeddedGoal
                            : style.engine == u"naive"  ? 0
                                                        : comparison.workload.hostGoal;
        if (goal > 0)
            drawing.line(
                RatioAxis.at(goal), y - 1, RatioAxis.at(goal), y + BarHeight + 1, u"#c00"_s, 2);
        y += BarHeight + 2;
    }
    y += 10;
}

void drawLegend(Drawing& drawing)
{
    double x = LeftMargin;
    for (const Style& style : BarStyles) {
        drawing.bar(x, 12, BarHeight, BarHeight, style.colour);
        drawing.label(x + 16, 22, style.label);
        x += 135;
    }
}

QList<Comparison> withRatios(const Report& report)
{
    QList<Comparison> chosen;
    std::copy_if(
        report.comparisons.begin(), report.comparisons.end(), std::back_inserter(chosen),
        [](const Comparison& one) { return one.ratio(u"embedded"_s) > 0; });
    return chosen;
}

double heightOf(const QList<Comparison>& comparisons)
{
    double height = Head + 30;
    for (const Comparison& one : comparisons) {
        const auto bars = std::count_if(
            BarStyles.begin(), BarStyles.end(),
            [&](const Style& style) { return one.ratio(style.engine) > 0; });
        height += double(bars) * (BarHeight + 2) + 10;
    }
    return height;
}

} // namespace

QString ratioPicture(const Report& report)
{
    const auto comparisons = withRatios(report);
    const double height = heightOf(comparisons);
    Drawing drawing(static_cast<int>(height));
    drawLegend(drawing);
    for (const double ratio : {0.5, 1.0, 2.0, 4.0, 8.0, 16.0}) {
        const double x = RatioAxis.at(ratio);
        drawing.line(x, Head - 8, x, height - 25, ratio == 1.0 ? u"#000"_s : u"#ddd"_s);
        drawing.label(x, height - 8, QString::number(ratio) + u" x floor"_s, u"middle"_s);
    }
    double y = Head;
    for (const Comparison& comparison : comparisons)
        drawBars(drawing, comparison, y);
    return drawing.document();
}

QString sizePicture(const Report& report)
{
    constexpr int Height = 420;
    constexpr Axis Files{10'000, 1'000'000, 80, Width - 220};
    constexpr Axis Cost{1, 1000, Height - 50, 20};
    Drawing drawing(Height);
    for (const double microseconds : {1.0, 10.0, 100.0, 1000.0}) {
        const double y = Cost.at(microseconds);
        drawing.line(Files.from, y, Files.to, y, u"#ddd"_s);
        drawing.label(Files.from - 8, y + 4, QString::number(microseconds) + u" µs"_s, u"end"_s);
    }
    for (const int files : {10'000, 100'000, 1'000'000})
        drawing.label(
            Files.at(files), Height - 25, QString::number(files) + u" files"_s, u"middle"_s);

    qsizetype index = 0;
    for (const Curve& curve : report.sizes.curves) {
        const QString colour = CurveColours[index++ % CurveColours.size()];
        for (qsizetype point = 1; point < curve.points.size(); ++point) {
            const auto& [files1, cost1] = curve.points[point - 1];
            const auto& [files2, cost2] = curve.points[point];
            drawing.line(
                Files.at(files1), Cost.at(cost1), Files.at(files2), Cost.at(cost2), colour, 2);
        }
        // The curves of floor and embedded end at the same point, so their titles are shifted.
        const double y = Cost.at(curve.points.last().second) + (index <= 2 ? -4 : 12);
        drawing.label(Files.to + 8, y, curve.title);
    }
    return drawing.document();
}

} // namespace velmio::benchmarks
