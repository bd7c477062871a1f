#include "gallery.h"

#include <algorithm>
#include <fstream>

#include <fmt/format.h>

#include "commands.h"

namespace orv::tool {

namespace {

constexpr unsigned columns = 8;
/// A place for a picture on the contact sheet, and on a strip.
struct Cell {
    unsigned width;
    unsigned height;
};
constexpr Cell sheetCell{144, 108};
constexpr Cell stripCell{240, 180};
constexpr Ink ground{232, 230, 225};
constexpr unsigned gap = 8;
constexpr unsigned labelHeight = 12;
constexpr unsigned letterWidth = 6;
constexpr unsigned lineHeight = 10;

constexpr std::string_view pageHead = R"(<!doctype html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>orv: every operation</title>
<style>
  body { font: 15px/1.45 system-ui, sans-serif; margin: 0; color: #1c1c1c; background: #f4f3f0 }
  header { padding: 1.2rem 1.6rem }
  h1 { font-size: 1.4rem; margin: 0 0 .3rem }
  h2 { font-size: 1.05rem; margin: 1.2rem 1.6rem .6rem; text-transform: capitalize }
  input { font: inherit; padding: .35rem .6rem; width: 18rem; border: 1px solid #bbb; border-radius: 5px }
  .grid { display: grid; grid-template-columns: repeat(auto-fill, minmax(260px, 1fr)); gap: 14px; padding: 0 1.6rem }
  article { background: #fff; border: 1px solid #ddd; border-radius: 7px; overflow: hidden; cursor: pointer }
  article:hover, article:focus { border-color: #447; outline: none }
  .shown { height: 190px; display: flex; align-items: center; justify-content: center; background: #e7e5e0; overflow: hidden }
  .shown img { max-width: 100%; max-height: 100%; object-fit: contain }
  .text { padding: .6rem .8rem .8rem }
  .text b { font-size: 1.02rem }
  pre { white-space: pre-wrap; font-size: 12.5px; margin: .4rem 0 0; overflow-wrap: anywhere }
  .shown pre { padding: .5rem; align-self: flex-start; max-height: 100%; overflow: hidden }
  .complaint { color: #a11 }
  dialog { border: 0; border-radius: 8px; max-width: 96vw; max-height: 94vh; padding: 1rem 1.2rem }
  dialog::backdrop { background: #000a }
  .pair { display: flex; gap: 12px; flex-wrap: wrap }
  figure { margin: 0 } figcaption { font-size: 12.5px; color: #555 }
</style>
<header><h1>orv: every operation</h1>
<p>Each picture was made by the command below it. A click shows before and after side by side at full size.</p>
<input type="search" placeholder="find an operation" aria-label="find an operation" id="find"></header>
)";

constexpr std::string_view pageTail = R"(<dialog id="full"></dialog>
<script>
  const full = document.getElementById('full');
  const open = card => {
    full.replaceChildren(card.querySelector('template').content.cloneNode(true));
    full.showModal();
  };
  document.addEventListener('click', event => {
    if (full.open) { full.close(); return; }
    const card = event.target.closest('article');
    if (card) open(card);
  });
  document.addEventListener('keydown', event => {
    if (event.key === 'Enter' && event.target.matches('article')) open(event.target);
  });
  document.getElementById('find').addEventListener('input', event => {
    const wanted = event.target.value.trim().toLowerCase().replaceAll('_', '-');
    for (const card of document.querySelectorAll('article'))
      card.hidden = !card.textContent.toLowerCase().replaceAll('_', '-').includes(wanted);
  });
</script>
</html>
)";

std::string escaped(std::string_view text) {
    std::string safe;
    for (const char c : text) {
        if (c == '&')
            safe += "&amp;";
        else if (c == '<')
            safe += "&lt;";
        else if (c == '>')
            safe += "&gt;";
        else if (c == '"')
            safe += "&quot;";
        else
            safe += c;
    }
    return safe;
}

std::string figure(const std::string& picture, std::string_view caption) {
    return fmt::format("<figure><figcaption>{}</figcaption><img loading=\"lazy\" src=\"{}\" alt=\"{}\"></figure>",
                       escaped(caption), escaped(picture), escaped(caption));
}

std::string card(const Exhibit& exhibit) {
    const Operation& operation = *exhibit.operation;
    std::string shown = exhibit.after.empty()
                            ? fmt::format("<pre>{}</pre>", escaped(exhibit.printed))
                            : fmt::format("<img loading=\"lazy\" src=\"{}\" alt=\"\">", escaped(exhibit.after));
    if (!exhibit.complaint.empty() && exhibit.after.empty() && exhibit.printed.empty())
        shown = fmt::format("<pre class=\"complaint\">{}</pre>", escaped(exhibit.complaint));
    std::string pair;
    for (const std::string& before : exhibit.before) pair += figure(before, "before");
    if (!exhibit.after.empty()) pair += figure(exhibit.after, "after");
    return fmt::format("<article tabindex=\"0\"><div class=\"shown\">{}</div><div class=\"text\"><b>{}</b>{}<br>{}"
                       "<pre>{}</pre></div><template><b>{}</b>: {}<p>{}</p><pre>{}</pre><div class=\"pair\">{}</div>"
                       "<pre>{}</pre></template></article>\n",
                       shown, dashed(operation.name), operation.body != nullptr ? " <small>recipe</small>" : "",
                       escaped(operation.help), escaped(operation.example), dashed(operation.name),
                       escaped(operation.help), escaped(operation.details), escaped(operation.example), pair,
                       escaped(exhibit.printed));
}

void writePrinted(Canvas& canvas, const std::string& printed, unsigned left, unsigned top, Cell cell) {
    unsigned y = top + 4;
    std::size_t at = 0;
    while (at < printed.size() && y + lineHeight < top + cell.height) {
        const std::size_t end = std::min(printed.find('\n', at), printed.size());
        const std::string line = printed.substr(at, std::min<std::size_t>(end - at, cell.width / letterWidth - 1));
        canvas.write(line, left + 4, y, {60, 60, 60});
        y += lineHeight;
        at = end + 1;
    }
}

void placePicture(Canvas& canvas, Session& session, const std::filesystem::path& file, unsigned left, unsigned top,
                  Cell cell) {
    canvas.place(Canvas(cell.width, cell.height, ground), left, top);
    const Canvas shown = Canvas::of(session.read(file)).fitted(cell.width, cell.height);
    canvas.place(shown, left + (cell.width - shown.width()) / 2, top + (cell.height - shown.height()) / 2);
}

void placeResult(Canvas& canvas, Session& session, const std::filesystem::path& folder, const Exhibit& exhibit,
                 unsigned left, unsigned top, Cell cell) {
    if (!exhibit.after.empty()) return placePicture(canvas, session, folder / exhibit.after, left, top, cell);
    canvas.place(Canvas(cell.width, cell.height, ground), left, top);
    writePrinted(canvas, exhibit.printed, left, top, cell);
}

} // namespace

Canvas contactSheet(Session& session, const std::filesystem::path& folder, const std::vector<Exhibit>& exhibits) {
    const auto count = static_cast<unsigned>(exhibits.size());
    const unsigned rows = std::max(1U, (count + columns - 1) / columns);
    Canvas sheet(gap + columns * (sheetCell.width + gap), gap + rows * (sheetCell.height + labelHeight + gap));
    for (unsigned i = 0; i < count; ++i) {
        const unsigned left = gap + i % columns * (sheetCell.width + gap);
        const unsigned top = gap + i / columns * (sheetCell.height + labelHeight + gap);
        placeResult(sheet, session, folder, exhibits[i], left, top, sheetCell);
        sheet.write(dashed(exhibits[i].operation->name), left, top + sheetCell.height + 3, {0, 0, 0});
    }
    return sheet;
}

Canvas strip(Session& session, const std::filesystem::path& folder, const Exhibit& exhibit) {
    const auto before = static_cast<unsigned>(exhibit.before.size());
    Canvas canvas(before * (stripCell.width + gap) + stripCell.width, stripCell.height);
    for (unsigned i = 0; i < before; ++i)
        placePicture(canvas, session, folder / exhibit.before[i], i * (stripCell.width + gap), 0, stripCell);
    placeResult(canvas, session, folder, exhibit, before * (stripCell.width + gap), 0, stripCell);
    return canvas;
}

void writePage(const std::filesystem::path& file, const std::vector<Exhibit>& exhibits) {
    std::ofstream out(file);
    out << pageHead;
    std::string_view group;
    for (const Exhibit& exhibit : exhibits) {
        if (exhibit.operation->group != group) {
            if (!group.empty()) out << "</div>\n";
            group = exhibit.operation->group;
            out << "<h2>" << escaped(group) << "</h2>\n<div class=\"grid\">\n";
        }
        out << card(exhibit);
    }
    out << "</div>\n" << pageTail;
    if (!out.flush()) throw Error("demo", fmt::format("cannot write {}", file.string()));
}

} // namespace orv::tool
