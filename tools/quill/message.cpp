#include "message.h"

#include <stdio.h>

#include "json_input.h"

namespace quill::cli {
namespace {

// Appends a text in the form that a kind's write() reads.
void append_quoted(Bytes &out, std::string_view text) {
    append(out, "\"");
    for (const char c : text) {
        char escape[8];
        snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned>(static_cast<uint8_t>(c)));
        append(out, escape);
    }
    append(out, "\"");
}

// Reads an element as decode shows it: its kind, and its value, or bytes if there is no value.
void encode_object(JsonInput &json, Bytes &message) {
    const Kind *kind = nullptr;
    Bytes value, family, raw;
    bool is_hex = false;
    while (json.next_member()) {
        size_t fault;
        const std::string_view key = json.key();
        if (key == "kind" && !(kind = find_kind(json.value()))) json.refuse("a kind of element before this");
        if (key == "family") append(family, json.value());
        if (key == "bytes" && !parse_hex(json.value(), raw, fault)) json.refuse("bytes in hexadecimal before this");
        if (key != "value" && key != "hex") continue;
        is_hex = key == "hex";
        append(value, json.value());
    }
    if (!kind) json.refuse("an element's kind before this");
    if (!raw.empty()) return append(message, raw.view());
    Bytes text;
    size_t fault;
    if (kind->is_text) {
        Bytes content;
        if (is_hex && !parse_hex(value.view(), content, fault)) json.refuse("bytes in hexadecimal before this");
        append_quoted(text, is_hex ? content.view() : value.view());
    } else {
        append(text, family.view());
        if (!family.empty()) append(text, " ");
        append(text, value.view());
    }
    if (const char *wanted = kind->write(text.view(), message)) json.refuse(wanted);
}

}  // namespace

Decoder::Decoder(Arguments &arguments)
    : report_(take_form(arguments)),
      names_(arguments),
      capture_(arguments, kCodecMessages),
      columns_{{"offset", 6, true}, {"name", -names_.width()}, {"kind", -9}, {"length", 6}, {"value", 0}} {
    if (!names_.are_given()) columns_[1] = columns_[0];
}

void Decoder::begin_message(const char *key, size_t number) {
    char title[24];
    snprintf(title, sizeof title, "%zu", number);
    report_.begin_object(nullptr, key ? title : nullptr);
    if (key) report_.number(json_only(key), number);
}

void Decoder::show(std::span<const uint8_t> message, const char *name, const char *key, size_t number) {
    if (message.size() > UINT32_MAX) fail("%s: longer than a message can be", name);
    capture_.add(message);
    Damage damage;
    begin_message(key, number);
    end_message(show_elements(message, damage) ? nullptr : &damage, name, number);
}

void Decoder::refuse(const Damage &damage, const char *name, const char *key, size_t number) {
    begin_message(key, number);
    end_message(&damage, name, number);
}

void Decoder::end_message(const Damage *damage, const char *name, size_t number) {
    report_damage(damage, report_);
    report_.end_object();
    if (!damage) return;
    damage->complain_of(name, number);
    all_whole_ = false;
}

// Returns false, with the damage, if the message could not be read completely, or does not have the elements that are
// named.
bool Decoder::show_elements(std::span<const uint8_t> message, Damage &damage) {
    report_.number(json_only("length"), message.size());
    report_.begin_list("elements");
    report_.columns(std::span(columns_).subspan(names_.are_given() ? 0 : 1));
    bool whole = true;
    Labels labels = names_.are_given() ? names_.of(message, damage) : Labels();
    Element element;
    for (size_t at = 0; whole && at < message.size(); at += element.length) {
        whole = read_element(message, static_cast<uint32_t>(at), element, damage);
        if (whole) show(element, labels.next(element, damage));
    }
    report_.end_list();
    return whole && (!names_.are_given() || labels.fit(message.size(), damage));
}

void Decoder::show(const Element &element, std::string_view label) {
    report_.begin_row();
    report_.number("offset", element.offset);
    if (names_.are_given()) report_.text("name", label);
    report_.text(also_plain("kind"), element.kind->name);
    report_.number("length", element.length);
    element.kind->show(element, report_);
    report_.end_row();
}

void encode_line(std::string_view line, Bytes &message, const char *name, size_t number) {
    line = trimmed(line);
    if (line.empty() || line[0] == '#') return;
    if (line.find('\0') != std::string_view::npos) fail("%s:%zu: a NUL byte in the line", name, number);
    const size_t end = line.find_first_of(" \t");
    const std::string_view word = part(line, 0, end);
    const std::string_view value = trimmed(part(line, word.size()));
    const auto shown = [](std::string_view text) { return static_cast<int>(text.size() < 60 ? text.size() : 60); };
    const Kind *const kind = find_kind(word);
    if (!kind) fail("%s:%zu: no kind \"%.*s\"", name, number, shown(word), word.data());
    if (const char *wanted = kind->write(value, message))
        fail("%s:%zu: %s: expected %s, found %.*s", name, number, kind->name, wanted, value.empty() ? 7 : shown(value),
             value.empty() ? "nothing" : value.data());
}

void encode_json(std::string_view text, Bytes &message, const char *name) {
    JsonInput json(text, name);
    for (bool more = json.enter("elements"); more; more = json.next_object()) encode_object(json, message);
}

}  // namespace quill::cli
