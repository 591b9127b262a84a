// Tests of the localised message table: the shipped data (every language,
// every key in one order, the rows that must stay exactly as shipped) and the
// lookups through the locale conversion under C.UTF-8.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string>
#include <utility>

#include "core/message_texts.h"
#include "core/messages.h"
#include "core/text_string.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::U16;

// The Russian and English columns, exact, in the table's key order.
struct KeyRow {
  const char* key;
  const char16_t* ru;
  const char16_t* en;
};
const KeyRow kKeyRows[] = {
    {"IDS_WIZARD_BACK", u"< Назад", u"< Back"},
    {"IDS_WIZARD_NEXT", u"Далее >", u"Next >"},
    {"IDS_WIZARD_FINISH", u"Готово", u"Finish"},
    {"IDS_WIZARD_CANCEL", u"Отмена", u"Cancel"},
    {"IDS_ACCEPT_CANCEL", u"Вы действительно хотите отменить установку?", u"Do you really want to cancel installation?"},
    {"IDS_TITLE_INSTALLER", u"Установка конфигурации", u"Installing configuration"},
    {"IDS_PREPARECOPY", u"Подготовка к копированию...", u"Preparing to copy..."},
    {"IDS_INSTALL_ERROR", u"Ошибка при инсталляции", u"Installation error"},
    {"IDS_ERROR_NOSOURCE", u"Файл комплекта установки mivo.efd не найден.", u"Distribution kit file mivo.efd not found."},
    {"IDS_ERROR_NOTARGET", u"Установка в текущий каталог шаблонов не поддерживается.", u"Installation of templates to the current directory is not supported."},
    {"IDS_ERROR_NOSPACE", u"Недостаточно места в каталоге Temp.", u"Insufficient space available in the directory Temp."},
    {"IDS_CHOOSEDIR_FOLDER", u"&Папка:", u"&Folder:"},
    {"IDS_CHOOSEDIR_TITLE", u"Выбор каталога", u"Choose Directory"},
    {"IDR_MAINFRAME", u"Установка конфигурации", u"Installing configuration"},
    {"IDS_SETUP_EMPTYTARGET", u"Укажите корректный путь к каталогу шаблонов.", u"Specify correct path to template directory."},
    {"IDS_INSTALL_FINISH", u"Завершение копирования...", u"Copying complete..."},
    {"IDS_ERROR_DAMAGEDSOURCE", u"Файл комплекта установки mivo.efd поврежден или не предназначен для этой программы установки.", u"Distribution kit file mivo.efd corrupted or not designed for this installation program."},
    {"IDS_DEFPRODUCT", u"<Продукт>", u"<Product>"},
    {"IDS_DEFPROVIDER", u"<Поставщик>", u"<Vendor>"},
    {"IDS_SUCCESS_FINISH", u"Конфигурация успешно установлена.", u"Configuration installed successfully."},
    {"IDS_SUCCESS_OPENDESCR", u"Открыть описание поставки", u"Open description of distribution package"},
    {"IDS_PROGRESS_START", u"Идет копирование файлов...", u"Files being copied..."},
    {"IDS_ERROR_FINISH", u"В процессе установки произошла ошибка. Установка прервана. Каталог шаблонов не изменен.", u"An error occurred during the installation process. Installation canceled. Template directory has not been changed."},
    {"IDS_CANCEL_FINISH", u"Установка отменена. Каталог шаблонов не изменен.", u"Installation canceled. Template directory has not been changed."},
    {"IDS_BROWSE_SELDIR", u"Выбранный каталог:", u"Directory selected:"},
    {"IDS_BROWSE_OK", u"Выбрать", u"Select"},
    {"IDS_BROWSE_CANCEL", u"Отмена", u"Cancel"},
    {"IDS_WELCOME_TITLE", u"Добро пожаловать в программу установки продукта", u"Welcome to the product installation program"},
    {"IDS_SETUP_EXISTEDTARGET", u"Каталог установки содержит файлы, которые могут быть изменены в процессе установки. Продолжить установку?", u"The installation directory contains files that may be changed during the installation process. Do you want to continue?"},
    {"IDS_DESTINATION_PROMPT", u"Укажите путь к каталогу шаблонов. Программа установки установит шаблоны и файлы конфигурации в указанный каталог.", u"Specify path to template directory. The installation program will install templates and configuration files to the specified directory."},
    {"IDS_TEMPLATE_CATALOG", u"Каталог шаблонов:", u"Template directory:"},
};
static_assert(sizeof(kKeyRows) / sizeof(kKeyRows[0]) == kMessageCount, "one row per key");

// The telling rows of the other languages, odd spellings included.
struct ExactRow {
  const char* code;
  const char* key;
  const char16_t* text;
};
const ExactRow kTellingRows[] = {
    {"uk", "IDS_WIZARD_BACK", u"< Попередня"}, {"uk", "IDS_WIZARD_NEXT", u"Наступна >"},
    {"uk", "IDS_WIZARD_FINISH", u"ОК"}, {"uk", "IDS_WIZARD_CANCEL", u"Відмінити"},
    {"uk", "IDS_WELCOME_TITLE", u"Ласкаво просимо у програму установки продукту"},
    {"lv", "IDS_WIZARD_BACK", u"< Atpakaļ"}, {"lv", "IDS_WIZARD_NEXT", u"Tālāk >"},
    {"lv", "IDS_WIZARD_FINISH", u"Gatavs"},
    {"lv", "IDS_WELCOME_TITLE", u"Laipni lūdzam produkta instalācijas programmā"},
    {"lt", "IDS_WIZARD_BACK", u"< Atgal"}, {"lt", "IDS_WIZARD_NEXT", u"Toliau >"},
    {"lt", "IDS_WIZARD_FINISH", u"Atlikta"}, {"lt", "IDS_WELCOME_TITLE", u"Sveiki atvykę į diegimo programą"},
    {"ro", "IDS_WIZARD_BACK", u"< Înapoi"}, {"ro", "IDS_WIZARD_NEXT", u"Înainte >"},
    {"ro", "IDS_WIZARD_CANCEL", u"Revocare"},
    {"ro", "IDS_WELCOME_TITLE", u"Bine aţi venit în programul de instalare a produsului"},
    {"de", "IDS_WIZARD_BACK", u"< Zurück"}, {"de", "IDS_WIZARD_NEXT", u"Weiter >"},
    {"de", "IDS_WIZARD_CANCEL", u"Abbrechen"},
    {"de", "IDS_WELCOME_TITLE", u"Willkommen beim Installationsprogramm des Produkts"},
    {"bg", "IDS_WIZARD_BACK", u"< Назад"}, {"bg", "IDS_WIZARD_NEXT", u"Напред >"},
    {"bg", "IDS_ACCEPT_CANCEL", u"Дейстително ли желаете да отмените инсталацията?"},
    {"bg", "IDS_WELCOME_TITLE", u"Добре долшли в инсталационната програма на продукта"},
    {"ka", "IDS_WIZARD_BACK", u"< უკან"}, {"ka", "IDS_WIZARD_NEXT", u"შემდეგ>"},
    {"ka", "IDS_WELCOME_TITLE", u"კეთილი იყოს თქვენი მობრძანება პროდუქტის დაყენების პროგრამაში"},
    {"kk", "IDS_WIZARD_BACK", u"< Артқа"}, {"kk", "IDS_WIZARD_NEXT", u"Әрі қарай >"},
    {"kk", "IDS_WIZARD_CANCEL", u"Доғар"}, {"kk", "IDS_WELCOME_TITLE", u"Өнімді орнату программасына қош келдіңіз"},
    {"vi", "IDS_WIZARD_BACK", u"< Quay lại"}, {"vi", "IDS_WIZARD_NEXT", u"Tiếp theo >"},
    {"vi", "IDS_WIZARD_FINISH", u"Đồng ý"},
    {"vi", "IDS_WELCOME_TITLE", u"Chào mừng Bạn đến với chương trình cài đặt sản phẩm"},
    {"tr", "IDS_WIZARD_BACK", u"< Geri"}, {"tr", "IDS_WIZARD_NEXT", u"İleri >"},
    {"tr", "IDS_WIZARD_FINISH", u"Tamam"}, {"tr", "IDS_WIZARD_CANCEL", u"İptal"},
    {"tr", "IDS_WELCOME_TITLE", u"Ürün yükleme programına hoş geldiniz"},
};

// Blocks in the order the table is built; bg, de and ro are numbered the
// other way round.
const std::pair<const char*, LanguageId> kBlocks[] = {{"ru", 1}, {"uk", 2}, {"en", 3},  {"lv", 4},
                                                      {"lt", 5}, {"ro", 8}, {"de", 7},  {"bg", 6},
                                                      {"ka", 9}, {"kk", 10}, {"vi", 11}, {"tr", 12}};

// The text through the tests' own UTF-8 decoder: a malformed byte comes out
// as U+FFFD and a character beyond the BMP as a surrogate, neither of which
// may stand in a shipped text.
std::u16string Units(const char* text) {
  const std::u16string units = U16(std::string(text));
  for (char16_t u : units) EXPECT_TRUE(u != 0xFFFD && (u < 0xD800 || u >= 0xE000)) << text;
  return units;
}

bool EndsWith(const std::string& s, const std::string& tail) {
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

// name occurs in s not followed by an ASCII letter ("Temp" but not "Template").
bool HasName(const std::string& s, const std::string& name) {
  for (size_t at = s.find(name); at != std::string::npos; at = s.find(name, at + 1))
    if (!isalpha(static_cast<unsigned char>(s[at + name.size()]))) return true;
  return false;
}

TEST(MessageTexts, EveryLanguageHasEveryKeyInOrderWithWellFormedTranslations) {
  const LanguageBlock* blocks = LanguageBlocks();
  const LanguageBlock &ru = blocks[0], &en = blocks[2];
  for (size_t b = 0; b < kLanguageCount; ++b) {
    const LanguageBlock& block = blocks[b];
    SCOPED_TRACE(block.code);
    EXPECT_STREQ(block.code, kBlocks[b].first);
    EXPECT_EQ(block.id, kBlocks[b].second);
    for (size_t i = 0; i < kMessageCount; ++i) {
      const std::string key = kKeyRows[i].key;
      ASSERT_STREQ(block.texts[i].key, key.c_str());
      ASSERT_NE(block.texts[i].text, nullptr) << key;
      const std::string got = block.texts[i].text, want = ru.texts[i].text;
      SCOPED_TRACE(key + ": " + got);
      const std::u16string units = Units(got.c_str());
      ASSERT_FALSE(units.empty());
      EXPECT_EQ(got.find('%'), std::string::npos) << "could be taken for a format";
      EXPECT_EQ(got.find("  "), std::string::npos);
      EXPECT_TRUE(got.front() != ' ' && got.back() != ' ');
      // Markers, brackets, closing punctuation and file names as in Russian.
      for (char c : {'&', '<', '>'})
        EXPECT_EQ(std::count(got.begin(), got.end(), c), std::count(want.begin(), want.end(), c)) << c;
      EXPECT_EQ(got.front() == '&', want.front() == '&');
      EXPECT_EQ(got.front() == '<', want.front() == '<');
      for (const char* tail : {"...", ">", ":", "?", "."}) EXPECT_EQ(EndsWith(got, tail), EndsWith(want, tail)) << tail;
      for (const char* name : {"mivo.efd", "Temp"}) EXPECT_EQ(HasName(got, name), HasName(want, name)) << name;
      // A block pasted from Russian or English and left untranslated shows
      // up as long rows equal to theirs.
      if (&block != &ru && &block != &en && got.size() >= 20) {
        EXPECT_NE(got, want);
        EXPECT_NE(got, en.texts[i].text);
      }
      // The wizard's buttons are 80 points wide: about a dozen characters.
      if (key.rfind("IDS_WIZARD_", 0) == 0 || key == "IDS_BROWSE_OK" || key == "IDS_BROWSE_CANCEL") {
        EXPECT_LE(units.size(), 14u);
      }
    }
    // Rows that name the same thing say it the same way.
    EXPECT_STREQ(block.texts[13].text, block.texts[5].text);   // IDR_MAINFRAME, IDS_TITLE_INSTALLER
    EXPECT_STREQ(block.texts[26].text, block.texts[3].text);   // IDS_BROWSE_CANCEL, IDS_WIZARD_CANCEL
  }
}

// Romanian spells ș and ț with a comma below (U+0219, U+021B), as its
// orthography and every current system do; only a fixed row keeps the
// cedilla letters it was shipped with.
TEST(MessageTexts, RomanianUsesCommaBelowOutsideTheFixedRows) {
  const LanguageBlock& ro = LanguageBlocks()[5];
  ASSERT_STREQ(ro.code, "ro");
  for (size_t i = 0; i < kMessageCount; ++i) {
    const MessageText& m = ro.texts[i];
    const bool fixed = std::any_of(std::begin(kTellingRows), std::end(kTellingRows), [&](const ExactRow& row) {
      return std::string(row.code) == "ro" && std::string(row.key) == m.key;
    });
    if (fixed) continue;
    for (char16_t u : U16(std::string(m.text)))
      EXPECT_TRUE(u != 0x015E && u != 0x015F && u != 0x0162 && u != 0x0163) << m.key << ": " << m.text;
  }
}

TEST(MessageLanguages, CodesAndNumbersMatchExactly) {
  for (const auto& [code, id] : kBlocks) {
    EXPECT_EQ(LanguageFromCode(ByteString(code)), id) << code;
    EXPECT_STREQ(LanguageCode(id), code);
  }
  for (const char* unknown : {"EN", "En", "", "e", "eng", "en ", " en", "xx", "us"})
    EXPECT_EQ(LanguageFromCode(ByteString(unknown)), 0) << '"' << unknown << '"';
  EXPECT_EQ(LanguageFromCode(ByteString("en\0", 3)), 0) << "the length counts";
  for (LanguageId unknown : {0, 13, -1, 100}) EXPECT_STREQ(LanguageCode(unknown), "");
}

// Lookups convert through the environment's locale: run them under C.UTF-8
// and leave the process as it was found.
class MessageLookup : public ::testing::Test {
 protected:
  void SetUp() override { old_language_ = CurrentLanguage(); }
  void TearDown() override { SetCurrentLanguage(old_language_); }
  // The text of key in the language with this code.
  std::u16string In(const char* code, const char* key) {
    SetCurrentLanguage(LanguageFromCode(ByteString(code)));
    EXPECT_NE(CurrentLanguage(), 0) << code;
    return U16(LookupMessage(key));
  }

 private:
  testsupport::ScopedEnv lc_all_{"LC_ALL", "C.UTF-8"};
  LanguageId old_language_ = 0;
};

TEST_F(MessageLookup, ExactRowsAndEveryOtherTextComeBackThroughTheLocale) {
  for (const KeyRow& row : kKeyRows) {
    EXPECT_EQ(In("ru", row.key), row.ru) << row.key;
    EXPECT_EQ(In("en", row.key), row.en) << row.key;
  }
  for (const ExactRow& row : kTellingRows) EXPECT_EQ(In(row.code, row.key), row.text) << row.code << " " << row.key;
  for (size_t b = 0; b < kLanguageCount; ++b) {
    const LanguageBlock& block = LanguageBlocks()[b];
    for (size_t i = 0; i < kMessageCount; ++i) {
      const MessageText& m = block.texts[i];
      EXPECT_EQ(In(block.code, m.key), U16(std::string(m.text))) << block.code << " " << m.key;
      EXPECT_EQ(LookupMessage(ByteString(m.key)), LookupMessage(m.key));
    }
  }
}

TEST_F(MessageLookup, NoLanguageOrUnknownKeyGivesEmptyText) {
  for (LanguageId unset : {0, 13, -1}) {
    SetCurrentLanguage(unset);
    for (const KeyRow& row : kKeyRows) EXPECT_TRUE(LookupMessage(row.key).empty()) << unset << " " << row.key;
  }
  // No fallback to the key or to another language.
  SetCurrentLanguage(3);
  for (const char* key : {"IDS_NOSUCHKEY", "", "ids_wizard_back", "IDS_WIZARD_BACK ", "IDS_WIZARD"})
    EXPECT_TRUE(LookupMessage(key).empty()) << '"' << key << '"';
  EXPECT_TRUE(LookupMessage(static_cast<const char*>(nullptr)).empty());
  EXPECT_EQ(U16(LookupMessage("IDS_WIZARD_BACK")), u"< Back");
}

}  // namespace
}  // namespace kitsetup
