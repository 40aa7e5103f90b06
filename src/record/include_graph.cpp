// The graph of includes.
//
// A unit adds its includes as records with the names after them; the end of the run puts the records of all
// units together, so that a file is one node and an edge has the counts of the whole run. Files are told
// apart by their names as the guards do it, without regard to case; separators and "./" make no difference.

#include "record/include_graph.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "diag/json_text.h"
#include "platform/paths.h"
#include "record/files.h"

// A file or an include among the parts; the name of the file and that of the including one follow, each with
// a NUL. The latter is empty for a unit.
struct PartHead {
  uint64_t bytes;  // of a file that was read
  uint64_t lines;
  size_t length;  // of both names with their NULs
  FileEventKind kind;
  bool guarded;
};

// Appends a name with slashes alone, without components that say nothing.
static void appendPlainName(TextBuffer& buffer, const char* name) {
  bool atStart = true;  // of a component
  while (*name != 0) {
    if (atStart && name[0] == '.' && isSeparator(name[1])) {
      name += 2;
      continue;
    }
    const size_t length = pathCharLength(name);
    atStart = length == 1 && isSeparator(*name);
    if (atStart)
      appendText(buffer, "/");
    else
      appendBytes(buffer, name, length);
    name += length;
  }
  appendBytes(buffer, "", 1);
}

void appendUnitGraph(TextBuffer& parts) {
  if (!fileEventsComplete()) parts.failed = true;
  const FileEvents files = fileEvents();
  for (size_t i = 0; i < files.count; ++i) {
    const FileEvent& event = files.items[i];
    if (event.kind == fileLeft) continue;
    PartHead head = {0, 0, 0, event.kind, false};
    if (event.kind == fileEntered && event.partner != noEvent) {
      const FileEvent& left = files.items[event.partner];
      head = {left.bytes, left.lines, 0, event.kind, left.guarded};
    }
    const size_t start = parts.length;
    appendBytes(parts, reinterpret_cast<const char*>(&head), sizeof head);
    appendPlainName(parts, hostNameOfEvent(event));
    appendPlainName(parts, event.includer == noEvent ? "" : hostNameOfEvent(files.items[event.includer]));
    if (parts.failed) return;
    head.length = parts.length - start - sizeof head;
    std::memcpy(parts.data + start, &head, sizeof head);
  }
}

// --- The whole graph ---

// A part with its names; also a node, which is the first part of its file with the sums of all.
struct Include {
  PartHead head;
  const char* name;
  const char* includer;
  uint64_t skips;
  bool isUnit;
};

// Compares two names; the sign tells their order.
static int compareNames(const char* a, const char* b) {
  for (; foldCase(Byte(*a)) == foldCase(Byte(*b)); ++a, ++b)
    if (*a == 0) return 0;
  return int(foldCase(Byte(*a))) - int(foldCase(Byte(*b)));
}

static bool isNamedBefore(const Include& a, const Include& b) {
  return compareNames(a.name, b.name) < 0;
}

// By the including file, then by the included one.
static bool isEdgeBefore(const Include& a, const Include& b) {
  const int order = compareNames(a.includer, b.includer);
  return order < 0 || (order == 0 && isNamedBefore(a, b));
}

// The includes among the parts, in a block of `list`.
static std::span<Include> listIncludes(TextBuffer& list, const TextBuffer& parts) {
  for (size_t place = 0; place < parts.length;) {
    Include item{};
    std::memcpy(&item.head, parts.data + place, sizeof item.head);
    item.name = parts.data + place + sizeof item.head;
    item.includer = item.name + std::strlen(item.name) + 1;
    item.skips = item.head.kind == fileSkipped;
    item.isUnit = *item.includer == 0;
    place += sizeof item.head + item.head.length;
    appendBytes(list, reinterpret_cast<const char*>(&item), sizeof item);
  }
  // The block comes from the allocator and holds nothing but these records.
  return {reinterpret_cast<Include*>(list.data), list.length / sizeof(Include)};
}

// Adds what another part says of the same file.
static void mergeFile(Include& node, const Include& part) {
  node.isUnit |= part.isUnit;
  if (part.head.kind != fileRead) node.head.kind = part.head.kind;
  node.head.guarded |= part.head.guarded;
  node.head.bytes = std::max(node.head.bytes, part.head.bytes);
  node.head.lines = std::max(node.head.lines, part.head.lines);
}

static void appendNode(TextBuffer& graph, const Include& node) {
  appendText(graph, "  ");
  appendJsonString(graph, node.name);
  appendText(graph, " [label=\"");
  appendJsonPart(graph, node.name, std::strlen(node.name));
  if (node.head.kind != fileRead) {
    appendText(graph, "\\n");
    appendNumber(graph, int64_t(node.head.bytes));
    appendText(graph, " bytes, ");
    appendNumber(graph, int64_t(node.head.lines));
    appendText(graph, node.head.lines == 1 ? " line" : " lines");
  }
  appendText(graph, "\"");
  if (node.isUnit) appendText(graph, ", shape=box, style=bold");
  if (node.head.kind == fileRead) appendText(graph, ", shape=note");
  if (node.head.guarded) appendText(graph, ", peripheries=2");
  appendText(graph, "];\n");
}

static void appendEdge(TextBuffer& graph, const Include& edge, uint64_t reads) {
  appendText(graph, "  ");
  appendJsonString(graph, edge.includer);
  appendText(graph, " -> ");
  appendJsonString(graph, edge.name);
  if (edge.skips != 0 || reads > 1) {
    appendText(graph, " [label=\"");
    if (reads > 1) {
      appendText(graph, "read ");
      appendNumber(graph, int64_t(reads));
    }
    if (edge.skips != 0) {
      appendText(graph, reads > 1 ? ", skipped " : "skipped ");
      appendNumber(graph, int64_t(edge.skips));
    }
    appendText(graph, reads == 0 ? "\", style=dashed]" : "\"]");
  }
  appendText(graph, ";\n");
}

// Appends the nodes. Afterwards each file has one spelling.
static void appendNodes(TextBuffer& graph, std::span<Include> includes) {
  std::stable_sort(includes.begin(), includes.end(), isNamedBefore);
  for (size_t i = 0, next; i < includes.size(); i = next) {
    Include node = includes[i];
    for (next = i + 1; next < includes.size() && compareNames(includes[next].name, node.name) == 0; ++next) {
      mergeFile(node, includes[next]);
      includes[next].name = node.name;
    }
    appendNode(graph, node);
  }
  for (Include& item : includes) {
    const Include includer = {{}, item.includer, nullptr, 0, false};
    const auto found = std::lower_bound(includes.begin(), includes.end(), includer, isNamedBefore);
    if (!item.isUnit && found != includes.end()) item.includer = found->name;
  }
}

static void appendEdges(TextBuffer& graph, std::span<Include> includes) {
  std::stable_sort(includes.begin(), includes.end(), isEdgeBefore);
  for (size_t i = 0, next; i < includes.size(); i = next) {
    Include edge = includes[i];
    for (next = i + 1; next < includes.size() && !isEdgeBefore(edge, includes[next]); ++next)
      edge.skips += includes[next].skips;
    if (*edge.includer != 0) appendEdge(graph, edge, next - i - edge.skips);
  }
}

void appendGraph(TextBuffer& graph, const TextBuffer& parts) {
  TextBuffer list = {};
  const std::span<Include> includes = listIncludes(list, parts);
  appendText(graph, "strict digraph includes {\n  rankdir=LR;\n  node [shape=ellipse];\n");
  appendNodes(graph, includes);
  appendEdges(graph, includes);
  appendText(graph, "}\n");
  if (list.failed) graph.failed = true;
  emptyBuffer(list);
}
