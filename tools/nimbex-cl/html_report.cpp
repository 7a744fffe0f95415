#include "tools/nimbex-cl/html_report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "tools/nimbex-cl/text_report.h"

namespace nimbex_cl {

namespace {

const char* kStyle = R"css(
:root { --memory: #2563eb; --mostly-memory: #0d9488; --mostly-compute: #d97706; --compute: #dc2626; --unknown: #6b7280; }
body { font: 14px/1.45 system-ui, "DejaVu Sans", sans-serif; color: #1f2937; margin: 0 auto; max-width: 1180px; padding: 0 20px 40px; }
h1 { font-size: 22px; margin: 20px 0 8px; }
h2 { font-size: 18px; margin: 28px 0 8px; border-bottom: 1px solid #e5e7eb; padding-bottom: 4px; }
h3 { font-size: 15px; margin: 14px 0 4px; }
dl.facts { display: grid; grid-template-columns: max-content 1fr; gap: 2px 16px; margin: 0; }
dl.facts dt { color: #6b7280; }
dl.facts dd { margin: 0; }
figure { margin: 0; }
figcaption { color: #4b5563; margin-top: 4px; }
svg.chart { width: 100%; max-width: 820px; height: auto; background: #fff; border: 1px solid #e5e7eb; }
.grid { stroke: #eef0f3; }
.axis { stroke: #9ca3af; }
.tick { font-size: 11px; fill: #4b5563; }
.axis-title { font-size: 12px; fill: #374151; }
.roof { fill: none; stroke-width: 2; }
.roof-memory { stroke: #475569; }
.roof-compute { stroke: #7f1d1d; }
.roof-label { font-size: 11px; fill: #374151; paint-order: stroke; stroke: #fff; stroke-width: 3px; stroke-linejoin: round; }
.dot { stroke: #fff; stroke-width: 1; fill-opacity: .8; cursor: pointer; }
.dot:hover, .dot.selected { stroke: #111827; stroke-width: 2; fill-opacity: 1; }
.zone-memory { fill: var(--memory); background: var(--memory); }
.zone-mostly-memory { fill: var(--mostly-memory); background: var(--mostly-memory); }
.zone-mostly-compute { fill: var(--mostly-compute); background: var(--mostly-compute); }
.zone-compute { fill: var(--compute); background: var(--compute); }
.zone-unknown { fill: var(--unknown); background: var(--unknown); }
.legend { display: flex; flex-wrap: wrap; gap: 14px; margin: 6px 0; padding: 0; list-style: none; }
.swatch { display: inline-block; width: 11px; height: 11px; border-radius: 50%; margin-right: 5px; vertical-align: -1px; }
table.loops { border-collapse: collapse; width: 100%; font-size: 13px; }
table.loops th, table.loops td { padding: 4px 8px; border-bottom: 1px solid #e5e7eb; text-align: left; vertical-align: top; }
table.loops td.num, table.loops th.num { text-align: right; font-variant-numeric: tabular-nums; }
table.loops th { background: #f3f4f6; position: sticky; top: 0; }
table.loops th button { font: inherit; font-weight: 600; border: 0; background: none; padding: 0; cursor: pointer; color: inherit; }
table.loops th[aria-sort="ascending"] button::after { content: " \25B2"; }
table.loops th[aria-sort="descending"] button::after { content: " \25BC"; }
table.loops tr.selected td { background: #fef3c7; }
.badge { display: inline-block; color: #fff; border-radius: 3px; padding: 0 6px; font-size: 12px; white-space: nowrap; }
details.loop { border: 1px solid #e5e7eb; border-radius: 4px; margin: 8px 0; padding: 0 12px; }
details.loop[open] { padding-bottom: 10px; }
details.loop summary { cursor: pointer; padding: 8px 0; font-weight: 600; }
details.loop summary .times { font-weight: normal; color: #4b5563; margin-left: 8px; }
details.loop:target, details.loop.selected { border-color: #d97706; box-shadow: 0 0 0 2px #fde68a; }
ul.traits { margin: 4px 0 8px; padding-left: 20px; }
section.issue { border-top: 1px solid #f3f4f6; }
ol.recs { padding-left: 22px; }
ol.recs > li { margin: 6px 0; }
.conf { display: inline-block; border-radius: 3px; padding: 0 5px; font-size: 12px; margin-right: 6px; border: 1px solid; }
.conf-high { color: #065f46; border-color: #10b981; }
.conf-medium { color: #92400e; border-color: #f59e0b; }
.conf-low { color: #374151; border-color: #9ca3af; }
pre { background: #f9fafb; border: 1px solid #e5e7eb; padding: 6px 8px; overflow-x: auto; font-size: 12px; }
p { margin: 4px 0; }
.muted { color: #6b7280; }
#tooltip { position: fixed; pointer-events: none; background: #111827; color: #fff; padding: 4px 8px; border-radius: 4px; font-size: 12px; display: none; max-width: 420px; }
)css";

// Sorting and the chart's interaction. The page reads without it.
const char* kScript = R"js(
(function () {
  'use strict';
  var table = document.getElementById('loops');
  if (table) {
    var headers = table.tHead.rows[0].cells;
    Array.prototype.forEach.call(headers, function (th, column) {
      var button = th.querySelector('button');
      if (!button) return;
      button.addEventListener('click', function () {
        var numeric = th.dataset.type === 'number';
        var ascending = th.getAttribute('aria-sort') === 'descending' ||
            (th.getAttribute('aria-sort') !== 'ascending' && !numeric);
        Array.prototype.forEach.call(headers, function (h) { h.removeAttribute('aria-sort'); });
        th.setAttribute('aria-sort', ascending ? 'ascending' : 'descending');
        var body = table.tBodies[0];
        var rows = Array.prototype.slice.call(body.rows);
        var key = function (row) {
          var cell = row.cells[column];
          var value = cell.dataset.value !== undefined ? cell.dataset.value : cell.textContent;
          return numeric ? parseFloat(value) : value.toLowerCase();
        };
        var keyed = rows.map(function (row, i) { return { row: row, key: key(row), i: i }; });
        keyed.sort(function (a, b) {
          if (a.key < b.key) return ascending ? -1 : 1;
          if (a.key > b.key) return ascending ? 1 : -1;
          return a.i - b.i;
        });
        var fragment = document.createDocumentFragment();
        keyed.forEach(function (k) { fragment.appendChild(k.row); });
        body.appendChild(fragment);
      });
    });
  }

  function select(id) {
    document.querySelectorAll('.selected').forEach(function (e) { e.classList.remove('selected'); });
    var row = document.getElementById('row-' + id);
    if (row) row.classList.add('selected');
    var dot = document.querySelector('.dot[data-loop="' + id + '"]');
    if (dot) dot.classList.add('selected');
    var findings = document.getElementById('loop-' + id);
    if (findings) {
      findings.open = true;
      findings.classList.add('selected');
      findings.scrollIntoView({ block: 'start' });
    } else if (row) {
      row.scrollIntoView({ block: 'center' });
    }
  }

  var tooltip = document.getElementById('tooltip');
  document.querySelectorAll('.dot').forEach(function (dot) {
    var title = dot.querySelector('title');
    var text = title ? title.textContent : '';
    // The page's own tooltip replaces the browser's, which comes late.
    if (title) dot.removeChild(title);
    dot.setAttribute('aria-label', text);
    dot.addEventListener('mouseenter', function () { tooltip.textContent = text; tooltip.style.display = 'block'; });
    dot.addEventListener('mousemove', function (e) {
      tooltip.style.left = (e.clientX + 14) + 'px';
      tooltip.style.top = (e.clientY + 10) + 'px';
    });
    dot.addEventListener('mouseleave', function () { tooltip.style.display = 'none'; });
    dot.parentNode.addEventListener('click', function (e) {
      e.preventDefault();
      select(dot.dataset.loop);
      history.replaceState(null, '', '#loop-' + dot.dataset.loop);
    });
  });
  if (location.hash.indexOf('#loop-') === 0) select(location.hash.substring(6));
})();
)js";

std::string format(const char* pattern, double value) {
  char buf[64];
  std::snprintf(buf, sizeof buf, pattern, value);
  return buf;
}

std::string seconds(double value) { return format("%.3f s", value); }

// Tick labels of a decade: 0.001, 0.01, ..., 1000, then 1e4 and up.
std::string decadeLabel(int exponent) {
  if (exponent >= 0 && exponent <= 4) return format("%.0f", std::pow(10.0, exponent));
  if (exponent < 0 && exponent >= -3) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.*f", -exponent, std::pow(10.0, exponent));
    return buf;
  }
  return "1e" + std::to_string(exponent);
}

// The first number of a vector length text ("2;4" sorts as 2).
double leadingNumber(const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  return end == text.c_str() ? -1.0 : value;
}

int zoneOrder(Zone zone) {
  switch (zone) {
    case Zone::Memory: return 1;
    case Zone::MostlyMemory: return 2;
    case Zone::MostlyCompute: return 3;
    case Zone::Compute: return 4;
    case Zone::Unknown: break;
  }
  return 5;
}

std::string shortZone(Zone zone) {
  switch (zone) {
    case Zone::Memory: return "memory bound";
    case Zone::MostlyMemory: return "mostly memory bound";
    case Zone::MostlyCompute: return "mostly compute bound";
    case Zone::Compute: return "compute bound";
    case Zone::Unknown: break;
  }
  return "";
}

// Maps a decade range onto pixels.
struct LogAxis {
  int lo = 0;  ///< exponents
  int hi = 1;
  double from = 0.0;  ///< pixels
  double to = 1.0;
  double at(double value) const {
    const double t = (std::log10(value) - lo) / (hi - lo);
    return from + t * (to - from);
  }
};

}  // namespace

void appendHtmlEscaped(std::string& out, const std::string& text) {
  std::size_t from = 0;
  while (from < text.size()) {
    const std::size_t special = text.find_first_of("&<>\"'", from);
    out.append(text, from, special == std::string::npos ? std::string::npos : special - from);
    if (special == std::string::npos) break;
    switch (text[special]) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += "&#39;"; break;
    }
    from = special + 1;
  }
}

std::string htmlTextBlocks(const std::string& text) {
  std::string out;
  out.reserve(text.size() + 32);
  std::string paragraph;
  std::string code;
  auto flush = [&] {
    if (!paragraph.empty()) {
      out += "<p>";
      appendHtmlEscaped(out, paragraph);
      out += "</p>";
      paragraph.clear();
    }
    if (!code.empty()) {
      out += "<pre><code>";
      appendHtmlEscaped(out, code);
      out += "</code></pre>";
      code.clear();
    }
  };
  forEachLine(text, [&](std::string_view line) {
    if (isCodeLine(line)) {
      if (!paragraph.empty()) flush();
      if (!code.empty()) code += '\n';
      code.append(line.substr(2));
    } else if (line.find_first_not_of(" \t\r") == std::string_view::npos) {
      flush();
    } else {
      if (!code.empty()) flush();
      if (!paragraph.empty()) paragraph += ' ';
      paragraph.append(line);
    }
  });
  flush();
  return out;
}

HtmlReport::HtmlReport(const ReportData& data, Settings settings) : data_(data), settings_(settings) {
  std::size_t shown = 0;
  for (const LoopFindings& loop : data_.loops) {
    if (!loop.hasFindings()) continue;
    if (shown++ == settings_.maxFindings) break;
    lastShown_ = &loop;
  }
}

bool HtmlReport::showsFindings(const LoopFindings& loop) const {
  // Loops are hottest first, so the shown ones are those up to the last.
  return loop.hasFindings() && lastShown_ && &loop <= lastShown_;
}

std::string HtmlReport::render() const {
  std::string out;
  out.reserve(16384 + data_.loops.size() * 3000);
  out += "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
  // Nothing from elsewhere: the page must open from a CI artifact offline.
  out += "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
         "script-src 'unsafe-inline'; img-src data:\">\n";
  out += "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>Loop findings: ";
  appendHtmlEscaped(out, data_.program);
  out += "</title>\n<style>";
  out += kStyle;
  out += "</style>\n</head>\n<body>\n";
  renderHeader(out);
  renderChart(out);
  renderTable(out);
  renderFindings(out);
  out += "<div id=\"tooltip\" role=\"tooltip\"></div>\n<script>";
  out += kScript;
  out += "</script>\n</body>\n</html>\n";
  return out;
}

void HtmlReport::renderHeader(std::string& out) const {
  std::string name = data_.program;
  const auto slash = name.find_last_of('/');
  if (slash != std::string::npos && slash + 1 < name.size()) name = name.substr(slash + 1);
  out += "<header>\n<h1>Loop findings: ";
  appendHtmlEscaped(out, name);
  out += "</h1>\n<dl class=\"facts\">\n<dt>Program</dt><dd>";
  appendHtmlEscaped(out, data_.program);
  out += "</dd>\n<dt>Machine</dt><dd>";
  appendHtmlEscaped(out, data_.machine.empty() ? std::string("not described by the result") : data_.machine);
  out += "</dd>\n<dt>Total time</dt><dd>";
  out += data_.programTime > 1e-12 ? seconds(data_.programTime) : std::string("unknown");
  out += "</dd>\n<dt>Loops with findings</dt><dd id=\"loops-with-findings\">";
  out += std::to_string(data_.loopsWithFindings()) + " of " + std::to_string(data_.loops.size());
  out += "</dd>\n</dl>\n</header>\n";
}

void HtmlReport::renderChart(std::string& out) const {
  std::vector<const LoopFindings*> points;
  std::size_t positioned = 0;
  for (const LoopFindings& loop : data_.loops) {
    if (!loop.hasPosition) continue;
    ++positioned;
    if (points.size() < settings_.maxChartPoints) points.push_back(&loop);  // hottest first already
  }
  out += "<section id=\"roofline\">\n<h2>Roofline chart</h2>\n";
  double fastest = 0.0;
  double slowest = 0.0;
  double peak = 0.0;
  for (const RoofEntry& roof : data_.roofs) {
    if (roof.value <= 0.0) continue;
    if (roof.memory) {
      fastest = std::max(fastest, roof.value);
      slowest = slowest == 0.0 ? roof.value : std::min(slowest, roof.value);
    } else {
      peak = std::max(peak, roof.value);
    }
  }
  if (points.empty() && (fastest == 0.0 || peak == 0.0)) {
    out += "<p class=\"muted\">The result has no roofline data: no roofs and no loop with a position.</p>\n</section>\n";
    return;
  }

  // The axes span every point and every ridge, in whole decades.
  double xMin = 1e300, xMax = 0.0, yMin = 1e300, yMax = 0.0;
  for (const LoopFindings* loop : points) {
    xMin = std::min(xMin, loop->intensity);
    xMax = std::max(xMax, loop->intensity);
    yMin = std::min(yMin, loop->performance);
    yMax = std::max(yMax, loop->performance);
  }
  if (fastest > 0.0 && peak > 0.0) {
    xMin = std::min(xMin, peak / fastest);
    xMax = std::max(xMax, peak / slowest);
    yMax = std::max(yMax, peak);
  }
  LogAxis x{static_cast<int>(std::floor(std::log10(xMin * 0.5))), static_cast<int>(std::ceil(std::log10(xMax * 2.0)))};
  if (slowest > 0.0) yMin = std::min(yMin, slowest * std::pow(10.0, x.lo) * 3.0);
  LogAxis y{static_cast<int>(std::floor(std::log10(yMin))), static_cast<int>(std::ceil(std::log10(yMax * 1.5)))};
  // Very slow loops or very wide ranges would squash the picture: at most
  // eight decades, with points beyond drawn on the edge.
  y.lo = std::max(y.lo, y.hi - 8);
  x.lo = std::max(x.lo, x.hi - 8);
  if (x.hi <= x.lo) x.hi = x.lo + 1;
  if (y.hi <= y.lo) y.hi = y.lo + 1;

  const double width = 820, height = 480, left = 78, right = 20, top = 18, bottom = 56;
  x.from = left;
  x.to = width - right;
  y.from = height - bottom;
  y.to = top;
  auto clampX = [&](double v) { return std::clamp(v, std::pow(10.0, x.lo), std::pow(10.0, x.hi)); };
  auto clampY = [&](double v) { return std::clamp(v, std::pow(10.0, y.lo), std::pow(10.0, y.hi)); };
  auto num = [](double v) { return format("%.1f", v); };

  out += "<figure>\n<svg class=\"chart\" id=\"chart\" viewBox=\"0 0 820 480\" role=\"img\" "
         "aria-labelledby=\"chart-caption\" xmlns=\"http://www.w3.org/2000/svg\">\n";
  for (int e = x.lo; e <= x.hi; ++e) {
    const std::string px = num(x.at(std::pow(10.0, e)));
    out += "<line class=\"grid\" x1=\"" + px + "\" y1=\"" + num(y.to) + "\" x2=\"" + px + "\" y2=\"" + num(y.from) +
           "\"/><text class=\"tick\" x=\"" + px + "\" y=\"" + num(y.from + 16) + "\" text-anchor=\"middle\">" +
           decadeLabel(e) + "</text>\n";
  }
  for (int e = y.lo; e <= y.hi; ++e) {
    const std::string py = num(y.at(std::pow(10.0, e)));
    // Performance in billions of operations per second.
    out += "<line class=\"grid\" x1=\"" + num(x.from) + "\" y1=\"" + py + "\" x2=\"" + num(x.to) + "\" y2=\"" + py +
           "\"/><text class=\"tick\" x=\"" + num(x.from - 6) + "\" y=\"" + num(y.at(std::pow(10.0, e)) + 4) +
           "\" text-anchor=\"end\">" + decadeLabel(e - 9) + "</text>\n";
  }
  out += "<rect class=\"axis\" fill=\"none\" x=\"" + num(x.from) + "\" y=\"" + num(y.to) + "\" width=\"" +
         num(x.to - x.from) + "\" height=\"" + num(y.from - y.to) + "\"/>\n";
  out += "<text class=\"axis-title\" x=\"" + num((x.from + x.to) / 2) + "\" y=\"" + num(height - 14) +
         "\" text-anchor=\"middle\">Arithmetic intensity (operations per byte)</text>\n";
  out += "<text class=\"axis-title\" transform=\"translate(18 " + num((y.from + y.to) / 2) +
         ") rotate(-90)\" text-anchor=\"middle\">Performance (billions of operations per second)</text>\n";

  // Roofs: a memory roof rises until it meets the highest compute roof; a
  // compute roof runs flat from where the fastest memory roof meets it.
  const double xLeft = std::pow(10.0, x.lo), xRight = std::pow(10.0, x.hi);
  const double slopeAngle =
      -std::atan2((y.from - y.to) / (y.hi - y.lo), (x.to - x.from) / (x.hi - x.lo)) * 180.0 / 3.14159265358979;
  out += "<g class=\"roofs\">\n";
  // Labels go over every line, so that a roof crossing another's name does
  // not strike it out.
  std::string labels;
  for (const RoofEntry& roof : data_.roofs) {
    if (roof.value <= 0.0) continue;
    std::string name;
    appendHtmlEscaped(name, roof.name);
    if (roof.memory) {
      const double start = clampX(std::max(xLeft, std::pow(10.0, y.lo) / roof.value));
      const double end = peak > 0.0 ? clampX(peak / roof.value) : xRight;
      if (end <= start) continue;
      const double x1 = x.at(start), y1 = y.at(clampY(roof.value * start));
      const double x2 = x.at(end), y2 = y.at(clampY(roof.value * end));
      out += "<line class=\"roof roof-memory\" x1=\"" + num(x1) + "\" y1=\"" + num(y1) + "\" x2=\"" + num(x2) +
             "\" y2=\"" + num(y2) + "\"><title>" + name + "</title></line>\n";
      const double lx = x1 + (x2 - x1) * 0.12, ly = y1 + (y2 - y1) * 0.12 - 5;
      labels += "<text class=\"roof-label\" transform=\"translate(" + num(lx) + " " + num(ly) + ") rotate(" +
             num(slopeAngle) + ")\">" + name + format(" (%.4g GB/s)", roof.value / 1e9) + "</text>\n";
    } else {
      const double start = fastest > 0.0 ? clampX(roof.value / fastest) : xLeft;
      const double py = y.at(clampY(roof.value));
      out += "<line class=\"roof roof-compute\" x1=\"" + num(x.at(start)) + "\" y1=\"" + num(py) + "\" x2=\"" +
             num(x.to) + "\" y2=\"" + num(py) + "\"><title>" + name + "</title></line>\n";
      labels += "<text class=\"roof-label\" x=\"" + num(x.to - 4) + "\" y=\"" + num(py - 5) + "\" text-anchor=\"end\">" +
             name + format(" (%.4g GOPS)", roof.value / 1e9) + "</text>\n";
    }
  }
  out += labels + "</g>\n<g class=\"dots\">\n";
  // The biggest dots first, so that small ones stay on top and clickable.
  std::vector<const LoopFindings*> drawOrder = points;
  std::stable_sort(drawOrder.begin(), drawOrder.end(),
                   [](const LoopFindings* a, const LoopFindings* b) { return a->selfTime > b->selfTime; });
  for (const LoopFindings* loop : drawOrder) {
    const double share = data_.share(*loop);
    const double radius = 4.0 + 14.0 * std::sqrt(share);
    const std::string id = std::to_string(loop->rowId);
    out += "<a href=\"#" + std::string(showsFindings(*loop) ? "loop-" : "row-") + id + "\"><circle class=\"dot zone-" +
           zoneToken(loop->zone) + "\" data-loop=\"" + id + "\" cx=\"" + num(x.at(clampX(loop->intensity))) +
           "\" cy=\"" + num(y.at(clampY(loop->performance))) + "\" r=\"" + num(radius) + "\"><title>";
    appendHtmlEscaped(out, loop->name());
    out += format(": self %.3f s", loop->selfTime) + format(" (%.1f%%)", 100.0 * share);
    if (loop->zone != Zone::Unknown) out += ", " + shortZone(loop->zone);
    out += format(", %.3g operations per byte", loop->intensity) +
           format(", %.3g billion operations per second", loop->performance / 1e9);
    out += "</title></circle></a>\n";
  }
  out += "</g>\n</svg>\n<figcaption id=\"chart-caption\">";
  if (positioned > points.size()) {
    out += "The " + std::to_string(points.size()) + " hottest of the " + std::to_string(positioned) +
           " loops with a roofline position";
  } else {
    out += std::to_string(points.size()) + (points.size() == 1 ? " loop" : " loops") + " with a roofline position";
  }
  out += ", each sized by its self time and coloured by its zone. Hover over a dot for its name; click it for its "
         "findings.</figcaption>\n</figure>\n<ul class=\"legend\">";
  for (Zone zone : {Zone::Memory, Zone::MostlyMemory, Zone::MostlyCompute, Zone::Compute, Zone::Unknown}) {
    out += std::string("<li><span class=\"swatch zone-") + zoneToken(zone) + "\"></span>" +
           (zone == Zone::Unknown ? std::string("no zone") : shortZone(zone)) + "</li>";
  }
  out += "</ul>\n</section>\n";
}

void HtmlReport::renderTable(std::string& out) const {
  out += "<section id=\"loop-table\">\n<h2>Loops</h2>\n<table class=\"loops\" id=\"loops\">\n<thead><tr>"
         "<th class=\"num\" data-type=\"number\"><button type=\"button\">#</button></th>"
         "<th><button type=\"button\">Loop</button></th>"
         "<th><button type=\"button\">Source</button></th>"
         "<th class=\"num\" data-type=\"number\" aria-sort=\"descending\"><button type=\"button\">Self time</button></th>"
         "<th class=\"num\" data-type=\"number\"><button type=\"button\">Total time</button></th>"
         "<th data-type=\"number\"><button type=\"button\">Zone</button></th>"
         "<th data-type=\"number\"><button type=\"button\">Vectorized</button></th>"
         "<th class=\"num\" data-type=\"number\"><button type=\"button\">Vector length</button></th>"
         "<th class=\"num\" data-type=\"number\"><button type=\"button\">Issues</button></th>"
         "</tr></thead>\n<tbody>\n";
  std::size_t number = 0;
  for (const LoopFindings& loop : data_.loops) {
    const std::string id = std::to_string(loop.rowId);
    out += "<tr id=\"row-" + id + "\"><td class=\"num\">" + std::to_string(++number) + "</td><td>";
    const bool linked = showsFindings(loop);
    if (linked) out += "<a href=\"#loop-" + id + "\">";
    appendHtmlEscaped(out, loop.function.empty() ? std::string("an unknown function") : loop.function);
    if (linked) out += "</a>";
    out += "</td><td title=\"";
    appendHtmlEscaped(out, loop.sourceFile);
    out += "\">";
    appendHtmlEscaped(out, loop.location());
    out += "</td><td class=\"num\" data-value=\"" + format("%.9g", loop.selfTime) + "\">" + seconds(loop.selfTime);
    if (data_.programTime > 1e-12) out += format(" (%.1f%%)", 100.0 * data_.share(loop));
    out += "</td><td class=\"num\" data-value=\"" + format("%.9g", loop.totalTime) + "\">" + seconds(loop.totalTime) +
           "</td><td data-value=\"" + std::to_string(zoneOrder(loop.zone)) + "\">";
    if (loop.zone != Zone::Unknown) {
      out += std::string("<span class=\"badge zone-") + zoneToken(loop.zone) + "\">" + shortZone(loop.zone) + "</span>";
    }
    out += "</td><td data-value=\"" + std::to_string(loop.vectorized) + "\">" +
           (loop.vectorized == 1 ? "yes" : loop.vectorized == 0 ? "no" : "") + "</td><td class=\"num\" data-value=\"" +
           format("%g", leadingNumber(loop.vectorLength)) + "\">";
    appendHtmlEscaped(out, loop.vectorLength);
    out += "</td><td class=\"num\">" + std::to_string(loop.issues.size()) + "</td></tr>\n";
  }
  out += "</tbody>\n</table>\n</section>\n";
}

void HtmlReport::renderFindings(std::string& out) const {
  out += "<section id=\"findings\">\n<h2>Findings</h2>\n";
  std::size_t number = 0;
  std::size_t shown = 0;
  for (const LoopFindings& loop : data_.loops) {
    ++number;
    if (!showsFindings(loop)) continue;
    const std::string id = std::to_string(loop.rowId);
    out += "<details class=\"loop\" id=\"loop-" + id + "\"" + (shown++ < settings_.openFindings ? " open" : "") +
           "><summary>" + std::to_string(number) + ". ";
    appendHtmlEscaped(out, loop.name());
    out += "<span class=\"times\">self " + seconds(loop.selfTime);
    if (data_.programTime > 1e-12) out += format(" (%.1f%%)", 100.0 * data_.share(loop));
    out += ", total " + seconds(loop.totalTime) + "</span>";
    if (loop.zone != Zone::Unknown) {
      out += std::string(" <span class=\"badge zone-") + zoneToken(loop.zone) + "\">" + shortZone(loop.zone) + "</span>";
    }
    out += "</summary>\n";
    if (loop.zone != Zone::Unknown) out += "<p>Zone: " + zoneText(loop.zone) + ".</p>\n";
    if (!loop.traits.empty()) {
      out += "<ul class=\"traits\">\n";
      for (const TraitEntry& trait : loop.traits) {
        out += "<li class=\"trait\"><strong>";
        appendHtmlEscaped(out, trait.title);
        out += "</strong>";
        if (!trait.body.empty()) out += htmlTextBlocks(trait.body);
        out += "</li>\n";
      }
      out += "</ul>\n";
    }
    if (loop.issues.empty()) out += "<p class=\"muted\">No issues found.</p>\n";
    for (const IssueEntry& issue : loop.issues) {
      out += "<section class=\"issue\" data-issue=\"";
      appendHtmlEscaped(out, issue.id);
      out += "\"><h3>";
      appendHtmlEscaped(out, issue.title.empty() ? issue.id : issue.title);
      out += "</h3>\n";
      if (!issue.text.empty() && issue.text != issue.title) out += htmlTextBlocks(issue.text) + "\n";
      if (!issue.recommendations.empty()) {
        out += "<ol class=\"recs\">\n";
        for (const RecommendationEntry& rec : issue.recommendations) {
          const std::string confidence = confidenceName(rec.confidence);
          out += "<li><span class=\"conf conf-" + confidence + "\" title=\"confidence\">" + confidence +
                 "</span><strong>";
          appendHtmlEscaped(out, rec.title);
          out += "</strong>";
          if (!rec.text.empty() && rec.text != rec.title) out += htmlTextBlocks(rec.text);
          out += "</li>\n";
        }
        out += "</ol>\n";
      }
      out += "</section>\n";
    }
    out += "</details>\n";
  }
  if (shown == 0) out += "<p class=\"muted\">No loop has findings.</p>\n";
  const std::size_t withFindings = data_.loopsWithFindings();
  if (shown < withFindings) {
    out += "<p class=\"muted\" id=\"findings-cut\">The findings of the " + std::to_string(shown) + " hottest of the " +
           std::to_string(withFindings) + " loops with findings; the text and SARIF reports have them all.</p>\n";
  }
  out += "</section>\n";
}

}  // namespace nimbex_cl
