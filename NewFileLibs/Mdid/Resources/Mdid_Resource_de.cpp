// The string table in German: the module "Mdid_Resource" of the language "de".

#include "CFnd/I18N_Utils.h"

namespace
{

constexpr I18N_StringTableEntry kTexts[] = {
    {100, L"Fehlerhafte Daten vorgefunden"},
    {101, L"Fehlerhafte Daten vorgefunden: Datenstrom nicht eindeutig"},
    {102, L"Ungültiger Header-Typ vorgefunden"},
    {103, L"Ungültige Header-Länge vorgefunden"},
    {104, L"Unbekanntes MIDI-Dateiformat"},
    {105, L"Ungültiges erstes Byte eines Events vorgefunden"},
    {106, L"Ungültige Spurlänge vorgefunden"},
    {107, L"Ungültige Länge des Meta-Events „Spurende“ vorgefunden"},
    {108, L"Unbekannte Länge des Meta-Events „MIDI-Kanal“ vorgefunden"},
    {109, L"Unbekannte Länge des Meta-Events „Tempo“ vorgefunden"},
    {110, L"Unbekannte Länge des Meta-Events „SMPTE-Offset“"},
    {111, L"Ungültiger SMPTE-Offset"},
    {112, L"Unbekannte Länge des Meta-Events „Taktart“ vorgefunden"},
    {113, L"Unbekannte Länge des Meta-Events „Tonart“ vorgefunden"},
    {114, L"Ungültiges MIDI-Event vorgefunden"},

    {200, L"... kein Platz mehr für klingende Noten ..."},
    {201, L"Ungültiger Untertyp vorgefunden"},
    {202, L"Fehlerhafte Daten vorgefunden"},
    {203, L"Sortierspeicher voll"},
    {204, L"Step-Eingabe"},
    {205, L"Step-Eingabe: Vierundsechzigstelnote"},
    {206, L"Step-Eingabe: Zweiunddreißigstelnote"},
    {207, L"Step-Eingabe: Sechzehntelnote"},
    {208, L"Step-Eingabe: Achtelnote"},
    {209, L"Step-Eingabe: Viertelnote"},
    {210, L"Step-Eingabe: Halbe Note"},
    {211, L"Step-Eingabe: Ganze Note"},
    {212, L"Step-Eingabe: N-Tole ein/aus"},
    {213, L"Step-Eingabe: Punktierung ein/aus"},
    {214, L"Step-Eingabe: Nächster Schritt"},
    {215, L"Step-Eingabe: Schritt rückgängig machen"},
    {216, L"Step-Eingabe: Schritt wiederherstellen"},
    {217, L"Dies ist ein Eingabestrom!"},
    {218, L"Falscher SMF-Header vorgefunden"},
    {219, L"Erwartete Fortsetzung einer SysEx-Nachricht nicht gefunden"},
    {220, L"Running Status an unerwarteter Stelle"},
    {221, L"Falsche Standard-MIDI-Datei vorgefunden"},
    {222, L"Falscher MIDI-Spur-Header vorgefunden"},
    {223, L"MIDI-Dateiformat wird nicht akzeptiert"},
    {224, L"Beim Importieren der MIDI-Datei ist ein Fehler aufgetreten:\n%1"},

    {300,
     L"Auf den QuorMIDIService konnte nicht zugegriffen werden. Bitte prüfen Sie, ob der QuorMIDIService ordnungsgemäß "
     L"installiert und registriert ist (eventuell ist eine vollständige Neuinstallation erforderlich)."},
};

} // namespace

I18N_EXPORT_STRING_TABLE(kTexts)
