// core/message_texts.cpp: every user-visible text of the installer, per
// language. See docs/translations.md before editing: rows marked "exact" (and
// the whole Russian and English blocks) are shipped as they stand, odd
// spellings included. IDR_MAINFRAME repeats IDS_TITLE_INSTALLER and
// IDS_BROWSE_CANCEL repeats IDS_WIZARD_CANCEL in every language.
#include "core/message_texts.h"

#include <iterator>

namespace kitsetup {
namespace {

// Russian (ru, 1). Every row is exact; do not edit.
constexpr MessageText kRu[] = {
    {"IDS_WIZARD_BACK", "< Назад"},
    {"IDS_WIZARD_NEXT", "Далее >"},
    {"IDS_WIZARD_FINISH", "Готово"},
    {"IDS_WIZARD_CANCEL", "Отмена"},
    {"IDS_ACCEPT_CANCEL", "Вы действительно хотите отменить установку?"},
    {"IDS_TITLE_INSTALLER", "Установка конфигурации"},
    {"IDS_PREPARECOPY", "Подготовка к копированию..."},
    {"IDS_INSTALL_ERROR", "Ошибка при инсталляции"},
    {"IDS_ERROR_NOSOURCE", "Файл комплекта установки mivo.efd не найден."},
    {"IDS_ERROR_NOTARGET", "Установка в текущий каталог шаблонов не поддерживается."},
    {"IDS_ERROR_NOSPACE", "Недостаточно места в каталоге Temp."},
    {"IDS_CHOOSEDIR_FOLDER", "&Папка:"},
    {"IDS_CHOOSEDIR_TITLE", "Выбор каталога"},
    {"IDR_MAINFRAME", "Установка конфигурации"},
    {"IDS_SETUP_EMPTYTARGET", "Укажите корректный путь к каталогу шаблонов."},
    {"IDS_INSTALL_FINISH", "Завершение копирования..."},
    {"IDS_ERROR_DAMAGEDSOURCE", "Файл комплекта установки mivo.efd поврежден или не предназначен для этой программы установки."},
    {"IDS_DEFPRODUCT", "<Продукт>"},
    {"IDS_DEFPROVIDER", "<Поставщик>"},
    {"IDS_SUCCESS_FINISH", "Конфигурация успешно установлена."},
    {"IDS_SUCCESS_OPENDESCR", "Открыть описание поставки"},
    {"IDS_PROGRESS_START", "Идет копирование файлов..."},
    {"IDS_ERROR_FINISH", "В процессе установки произошла ошибка. Установка прервана. Каталог шаблонов не изменен."},
    {"IDS_CANCEL_FINISH", "Установка отменена. Каталог шаблонов не изменен."},
    {"IDS_BROWSE_SELDIR", "Выбранный каталог:"},
    {"IDS_BROWSE_OK", "Выбрать"},
    {"IDS_BROWSE_CANCEL", "Отмена"},
    {"IDS_WELCOME_TITLE", "Добро пожаловать в программу установки продукта"},
    {"IDS_SETUP_EXISTEDTARGET", "Каталог установки содержит файлы, которые могут быть изменены в процессе установки. Продолжить установку?"},
    {"IDS_DESTINATION_PROMPT", "Укажите путь к каталогу шаблонов. Программа установки установит шаблоны и файлы конфигурации в указанный каталог."},
    {"IDS_TEMPLATE_CATALOG", "Каталог шаблонов:"},
};
static_assert(std::size(kRu) == kMessageCount, "ru: every language has every key");

// Ukrainian (uk, 2). Rows marked "exact" are fixed; do not "correct" them.
constexpr MessageText kUk[] = {
    {"IDS_WIZARD_BACK", "< Попередня"},  // exact
    {"IDS_WIZARD_NEXT", "Наступна >"},  // exact
    {"IDS_WIZARD_FINISH", "ОК"},  // exact: Cyrillic О and К, not Latin
    {"IDS_WIZARD_CANCEL", "Відмінити"},  // exact
    {"IDS_ACCEPT_CANCEL", "Ви справді бажаєте скасувати встановлення?"},
    {"IDS_TITLE_INSTALLER", "Встановлення конфігурації"},
    {"IDS_PREPARECOPY", "Підготовка до копіювання..."},
    {"IDS_INSTALL_ERROR", "Помилка встановлення"},
    {"IDS_ERROR_NOSOURCE", "Файл пакета встановлення mivo.efd не знайдено."},
    {"IDS_ERROR_NOTARGET", "Встановлення до поточного каталогу шаблонів не підтримується."},
    {"IDS_ERROR_NOSPACE", "Недостатньо місця в каталозі Temp."},
    {"IDS_CHOOSEDIR_FOLDER", "&Папка:"},
    {"IDS_CHOOSEDIR_TITLE", "Вибір каталогу"},
    {"IDR_MAINFRAME", "Встановлення конфігурації"},
    {"IDS_SETUP_EMPTYTARGET", "Вкажіть правильний шлях до каталогу шаблонів."},
    {"IDS_INSTALL_FINISH", "Завершення копіювання..."},
    {"IDS_ERROR_DAMAGEDSOURCE", "Файл пакета встановлення mivo.efd пошкоджено, або він не призначений для цієї програми встановлення."},
    {"IDS_DEFPRODUCT", "<Продукт>"},
    {"IDS_DEFPROVIDER", "<Постачальник>"},
    {"IDS_SUCCESS_FINISH", "Конфігурацію успішно встановлено."},
    {"IDS_SUCCESS_OPENDESCR", "Відкрити опис пакета постачання"},
    {"IDS_PROGRESS_START", "Триває копіювання файлів..."},
    {"IDS_ERROR_FINISH", "Під час встановлення сталася помилка. Встановлення перервано. Каталог шаблонів не змінено."},
    {"IDS_CANCEL_FINISH", "Встановлення скасовано. Каталог шаблонів не змінено."},
    {"IDS_BROWSE_SELDIR", "Вибраний каталог:"},
    {"IDS_BROWSE_OK", "Вибрати"},
    {"IDS_BROWSE_CANCEL", "Відмінити"},  // exact
    {"IDS_WELCOME_TITLE", "Ласкаво просимо у програму установки продукту"},  // exact
    {"IDS_SETUP_EXISTEDTARGET", "Каталог встановлення містить файли, які можуть змінитися під час встановлення. Продовжити встановлення?"},
    {"IDS_DESTINATION_PROMPT", "Вкажіть шлях до каталогу шаблонів. Програма встановлення розмістить шаблони та файли конфігурації у вказаному каталозі."},
    {"IDS_TEMPLATE_CATALOG", "Каталог шаблонів:"},
};
static_assert(std::size(kUk) == kMessageCount, "uk: every language has every key");

// English (en, 3). Every row is exact; do not edit.
constexpr MessageText kEn[] = {
    {"IDS_WIZARD_BACK", "< Back"},
    {"IDS_WIZARD_NEXT", "Next >"},
    {"IDS_WIZARD_FINISH", "Finish"},
    {"IDS_WIZARD_CANCEL", "Cancel"},
    {"IDS_ACCEPT_CANCEL", "Do you really want to cancel installation?"},
    {"IDS_TITLE_INSTALLER", "Installing configuration"},
    {"IDS_PREPARECOPY", "Preparing to copy..."},
    {"IDS_INSTALL_ERROR", "Installation error"},
    {"IDS_ERROR_NOSOURCE", "Distribution kit file mivo.efd not found."},
    {"IDS_ERROR_NOTARGET", "Installation of templates to the current directory is not supported."},
    {"IDS_ERROR_NOSPACE", "Insufficient space available in the directory Temp."},
    {"IDS_CHOOSEDIR_FOLDER", "&Folder:"},
    {"IDS_CHOOSEDIR_TITLE", "Choose Directory"},
    {"IDR_MAINFRAME", "Installing configuration"},
    {"IDS_SETUP_EMPTYTARGET", "Specify correct path to template directory."},
    {"IDS_INSTALL_FINISH", "Copying complete..."},
    {"IDS_ERROR_DAMAGEDSOURCE", "Distribution kit file mivo.efd corrupted or not designed for this installation program."},
    {"IDS_DEFPRODUCT", "<Product>"},
    {"IDS_DEFPROVIDER", "<Vendor>"},
    {"IDS_SUCCESS_FINISH", "Configuration installed successfully."},
    {"IDS_SUCCESS_OPENDESCR", "Open description of distribution package"},
    {"IDS_PROGRESS_START", "Files being copied..."},
    {"IDS_ERROR_FINISH", "An error occurred during the installation process. Installation canceled. Template directory has not been changed."},
    {"IDS_CANCEL_FINISH", "Installation canceled. Template directory has not been changed."},
    {"IDS_BROWSE_SELDIR", "Directory selected:"},
    {"IDS_BROWSE_OK", "Select"},
    {"IDS_BROWSE_CANCEL", "Cancel"},
    {"IDS_WELCOME_TITLE", "Welcome to the product installation program"},
    {"IDS_SETUP_EXISTEDTARGET", "The installation directory contains files that may be changed during the installation process. Do you want to continue?"},
    {"IDS_DESTINATION_PROMPT", "Specify path to template directory. The installation program will install templates and configuration files to the specified directory."},
    {"IDS_TEMPLATE_CATALOG", "Template directory:"},
};
static_assert(std::size(kEn) == kMessageCount, "en: every language has every key");

// Latvian (lv, 4). Rows marked "exact" are fixed; do not "correct" them.
constexpr MessageText kLv[] = {
    {"IDS_WIZARD_BACK", "< Atpakaļ"},  // exact
    {"IDS_WIZARD_NEXT", "Tālāk >"},  // exact
    {"IDS_WIZARD_FINISH", "Gatavs"},  // exact
    {"IDS_WIZARD_CANCEL", "Atcelt"},
    {"IDS_ACCEPT_CANCEL", "Vai tiešām vēlaties atcelt instalēšanu?"},
    {"IDS_TITLE_INSTALLER", "Konfigurācijas instalēšana"},
    {"IDS_PREPARECOPY", "Sagatavošanās kopēšanai..."},
    {"IDS_INSTALL_ERROR", "Instalēšanas kļūda"},
    {"IDS_ERROR_NOSOURCE", "Instalācijas komplekta fails mivo.efd nav atrasts."},
    {"IDS_ERROR_NOTARGET", "Instalēšana pašreizējā veidņu katalogā netiek atbalstīta."},
    {"IDS_ERROR_NOSPACE", "Katalogā Temp nepietiek vietas."},
    {"IDS_CHOOSEDIR_FOLDER", "&Mape:"},
    {"IDS_CHOOSEDIR_TITLE", "Kataloga izvēle"},
    {"IDR_MAINFRAME", "Konfigurācijas instalēšana"},
    {"IDS_SETUP_EMPTYTARGET", "Norādiet pareizu ceļu uz veidņu katalogu."},
    {"IDS_INSTALL_FINISH", "Kopēšanas pabeigšana..."},
    {"IDS_ERROR_DAMAGEDSOURCE", "Instalācijas komplekta fails mivo.efd ir bojāts vai nav paredzēts šai instalēšanas programmai."},
    {"IDS_DEFPRODUCT", "<Produkts>"},
    {"IDS_DEFPROVIDER", "<Piegādātājs>"},
    {"IDS_SUCCESS_FINISH", "Konfigurācija ir veiksmīgi instalēta."},
    {"IDS_SUCCESS_OPENDESCR", "Atvērt piegādes komplekta aprakstu"},
    {"IDS_PROGRESS_START", "Notiek failu kopēšana..."},
    {"IDS_ERROR_FINISH", "Instalēšanas laikā radās kļūda. Instalēšana ir pārtraukta. Veidņu katalogs nav mainīts."},
    {"IDS_CANCEL_FINISH", "Instalēšana ir atcelta. Veidņu katalogs nav mainīts."},
    {"IDS_BROWSE_SELDIR", "Izvēlētais katalogs:"},
    {"IDS_BROWSE_OK", "Izvēlēties"},
    {"IDS_BROWSE_CANCEL", "Atcelt"},
    {"IDS_WELCOME_TITLE", "Laipni lūdzam produkta instalācijas programmā"},  // exact
    {"IDS_SETUP_EXISTEDTARGET", "Instalēšanas katalogā ir faili, kas instalēšanas laikā var tikt mainīti. Vai turpināt instalēšanu?"},
    {"IDS_DESTINATION_PROMPT", "Norādiet ceļu uz veidņu katalogu. Instalēšanas programma instalēs veidnes un konfigurācijas failus norādītajā katalogā."},
    {"IDS_TEMPLATE_CATALOG", "Veidņu katalogs:"},
};
static_assert(std::size(kLv) == kMessageCount, "lv: every language has every key");

// Lithuanian (lt, 5). Rows marked "exact" are fixed; do not "correct" them.
constexpr MessageText kLt[] = {
    {"IDS_WIZARD_BACK", "< Atgal"},  // exact
    {"IDS_WIZARD_NEXT", "Toliau >"},  // exact
    {"IDS_WIZARD_FINISH", "Atlikta"},  // exact
    {"IDS_WIZARD_CANCEL", "Atšaukti"},
    {"IDS_ACCEPT_CANCEL", "Ar tikrai norite atšaukti diegimą?"},
    {"IDS_TITLE_INSTALLER", "Konfigūracijos diegimas"},
    {"IDS_PREPARECOPY", "Ruošiamasi kopijuoti..."},
    {"IDS_INSTALL_ERROR", "Diegimo klaida"},
    {"IDS_ERROR_NOSOURCE", "Diegimo rinkinio failas mivo.efd nerastas."},
    {"IDS_ERROR_NOTARGET", "Diegimas į dabartinį šablonų katalogą nepalaikomas."},
    {"IDS_ERROR_NOSPACE", "Kataloge Temp nepakanka vietos."},
    {"IDS_CHOOSEDIR_FOLDER", "&Aplankas:"},
    {"IDS_CHOOSEDIR_TITLE", "Katalogo pasirinkimas"},
    {"IDR_MAINFRAME", "Konfigūracijos diegimas"},
    {"IDS_SETUP_EMPTYTARGET", "Nurodykite teisingą kelią į šablonų katalogą."},
    {"IDS_INSTALL_FINISH", "Baigiamas kopijavimas..."},
    {"IDS_ERROR_DAMAGEDSOURCE", "Diegimo rinkinio failas mivo.efd sugadintas arba neskirtas šiai diegimo programai."},
    {"IDS_DEFPRODUCT", "<Produktas>"},
    {"IDS_DEFPROVIDER", "<Tiekėjas>"},
    {"IDS_SUCCESS_FINISH", "Konfigūracija sėkmingai įdiegta."},
    {"IDS_SUCCESS_OPENDESCR", "Atidaryti diegimo paketo aprašą"},
    {"IDS_PROGRESS_START", "Kopijuojami failai..."},
    {"IDS_ERROR_FINISH", "Diegimo metu įvyko klaida. Diegimas nutrauktas. Šablonų katalogas nepakeistas."},
    {"IDS_CANCEL_FINISH", "Diegimas atšauktas. Šablonų katalogas nepakeistas."},
    {"IDS_BROWSE_SELDIR", "Pasirinktas katalogas:"},
    {"IDS_BROWSE_OK", "Pasirinkti"},
    {"IDS_BROWSE_CANCEL", "Atšaukti"},
    {"IDS_WELCOME_TITLE", "Sveiki atvykę į diegimo programą"},  // exact
    {"IDS_SETUP_EXISTEDTARGET", "Diegimo kataloge yra failų, kurie diegimo metu gali būti pakeisti. Tęsti diegimą?"},
    {"IDS_DESTINATION_PROMPT", "Nurodykite kelią į šablonų katalogą. Diegimo programa įdiegs šablonus ir konfigūracijos failus į nurodytą katalogą."},
    {"IDS_TEMPLATE_CATALOG", "Šablonų katalogas:"},
};
static_assert(std::size(kLt) == kMessageCount, "lt: every language has every key");

// Romanian (ro, 8). Rows marked "exact" are fixed; do not "correct" them.
constexpr MessageText kRo[] = {
    {"IDS_WIZARD_BACK", "< Înapoi"},  // exact
    {"IDS_WIZARD_NEXT", "Înainte >"},  // exact
    {"IDS_WIZARD_FINISH", "Terminare"},
    {"IDS_WIZARD_CANCEL", "Revocare"},  // exact
    {"IDS_ACCEPT_CANCEL", "Sigur doriți să revocați instalarea?"},
    {"IDS_TITLE_INSTALLER", "Instalarea configurației"},
    {"IDS_PREPARECOPY", "Pregătire pentru copiere..."},
    {"IDS_INSTALL_ERROR", "Eroare la instalare"},
    {"IDS_ERROR_NOSOURCE", "Fișierul pachetului de instalare mivo.efd nu a fost găsit."},
    {"IDS_ERROR_NOTARGET", "Instalarea în directorul curent de șabloane nu este acceptată."},
    {"IDS_ERROR_NOSPACE", "Spațiu insuficient în directorul Temp."},
    {"IDS_CHOOSEDIR_FOLDER", "&Folder:"},
    {"IDS_CHOOSEDIR_TITLE", "Alegerea directorului"},
    {"IDR_MAINFRAME", "Instalarea configurației"},
    {"IDS_SETUP_EMPTYTARGET", "Specificați o cale validă către directorul de șabloane."},
    {"IDS_INSTALL_FINISH", "Finalizarea copierii..."},
    {"IDS_ERROR_DAMAGEDSOURCE", "Fișierul pachetului de instalare mivo.efd este deteriorat sau nu este destinat acestui program de instalare."},
    {"IDS_DEFPRODUCT", "<Produs>"},
    {"IDS_DEFPROVIDER", "<Furnizor>"},
    {"IDS_SUCCESS_FINISH", "Configurația a fost instalată cu succes."},
    {"IDS_SUCCESS_OPENDESCR", "Deschideți descrierea pachetului de distribuție"},
    {"IDS_PROGRESS_START", "Se copiază fișierele..."},
    {"IDS_ERROR_FINISH", "A apărut o eroare în timpul instalării. Instalarea a fost întreruptă. Directorul de șabloane nu a fost modificat."},
    {"IDS_CANCEL_FINISH", "Instalarea a fost revocată. Directorul de șabloane nu a fost modificat."},
    {"IDS_BROWSE_SELDIR", "Director selectat:"},
    {"IDS_BROWSE_OK", "Selectare"},
    {"IDS_BROWSE_CANCEL", "Revocare"},  // exact
    {"IDS_WELCOME_TITLE", "Bine aţi venit în programul de instalare a produsului"},  // exact: cedilla ţ (U+0163)
    {"IDS_SETUP_EXISTEDTARGET", "Directorul de instalare conține fișiere care pot fi modificate în timpul instalării. Continuați instalarea?"},
    {"IDS_DESTINATION_PROMPT", "Specificați calea către directorul de șabloane. Programul de instalare va instala șabloanele și fișierele de configurare în directorul specificat."},
    {"IDS_TEMPLATE_CATALOG", "Director de șabloane:"},
};
static_assert(std::size(kRo) == kMessageCount, "ro: every language has every key");

// German (de, 7). Rows marked "exact" are fixed; do not "correct" them.
constexpr MessageText kDe[] = {
    {"IDS_WIZARD_BACK", "< Zurück"},  // exact
    {"IDS_WIZARD_NEXT", "Weiter >"},  // exact
    {"IDS_WIZARD_FINISH", "Fertig"},
    {"IDS_WIZARD_CANCEL", "Abbrechen"},  // exact
    {"IDS_ACCEPT_CANCEL", "Möchten Sie die Installation wirklich abbrechen?"},
    {"IDS_TITLE_INSTALLER", "Installation der Konfiguration"},
    {"IDS_PREPARECOPY", "Kopieren wird vorbereitet..."},
    {"IDS_INSTALL_ERROR", "Fehler bei der Installation"},
    {"IDS_ERROR_NOSOURCE", "Die Installationspaketdatei mivo.efd wurde nicht gefunden."},
    {"IDS_ERROR_NOTARGET", "Die Installation in das aktuelle Vorlagenverzeichnis wird nicht unterstützt."},
    {"IDS_ERROR_NOSPACE", "Nicht genügend Speicherplatz im Verzeichnis Temp."},
    {"IDS_CHOOSEDIR_FOLDER", "&Ordner:"},
    {"IDS_CHOOSEDIR_TITLE", "Verzeichnis auswählen"},
    {"IDR_MAINFRAME", "Installation der Konfiguration"},
    {"IDS_SETUP_EMPTYTARGET", "Geben Sie einen gültigen Pfad zum Vorlagenverzeichnis an."},
    {"IDS_INSTALL_FINISH", "Kopieren wird abgeschlossen..."},
    {"IDS_ERROR_DAMAGEDSOURCE", "Die Installationspaketdatei mivo.efd ist beschädigt oder nicht für dieses Installationsprogramm bestimmt."},
    {"IDS_DEFPRODUCT", "<Produkt>"},
    {"IDS_DEFPROVIDER", "<Anbieter>"},
    {"IDS_SUCCESS_FINISH", "Die Konfiguration wurde erfolgreich installiert."},
    {"IDS_SUCCESS_OPENDESCR", "Beschreibung des Distributionspakets öffnen"},
    {"IDS_PROGRESS_START", "Dateien werden kopiert..."},
    {"IDS_ERROR_FINISH", "Während der Installation ist ein Fehler aufgetreten. Die Installation wurde abgebrochen. Das Vorlagenverzeichnis wurde nicht geändert."},
    {"IDS_CANCEL_FINISH", "Die Installation wurde abgebrochen. Das Vorlagenverzeichnis wurde nicht geändert."},
    {"IDS_BROWSE_SELDIR", "Ausgewähltes Verzeichnis:"},
    {"IDS_BROWSE_OK", "Auswählen"},
    {"IDS_BROWSE_CANCEL", "Abbrechen"},  // exact
    {"IDS_WELCOME_TITLE", "Willkommen beim Installationsprogramm des Produkts"},  // exact
    {"IDS_SETUP_EXISTEDTARGET", "Das Installationsverzeichnis enthält Dateien, die bei der Installation geändert werden können. Möchten Sie die Installation fortsetzen?"},
    {"IDS_DESTINATION_PROMPT", "Geben Sie den Pfad zum Vorlagenverzeichnis an. Das Installationsprogramm installiert Vorlagen und Konfigurationsdateien in das angegebene Verzeichnis."},
    {"IDS_TEMPLATE_CATALOG", "Vorlagenverzeichnis:"},
};
static_assert(std::size(kDe) == kMessageCount, "de: every language has every key");

// Bulgarian (bg, 6). Rows marked "exact" are fixed; do not "correct" them.
constexpr MessageText kBg[] = {
    {"IDS_WIZARD_BACK", "< Назад"},  // exact
    {"IDS_WIZARD_NEXT", "Напред >"},  // exact
    {"IDS_WIZARD_FINISH", "Готово"},
    {"IDS_WIZARD_CANCEL", "Отказ"},
    {"IDS_ACCEPT_CANCEL", "Дейстително ли желаете да отмените инсталацията?"},  // exact, spelling included
    {"IDS_TITLE_INSTALLER", "Инсталиране на конфигурация"},
    {"IDS_PREPARECOPY", "Подготовка за копиране..."},
    {"IDS_INSTALL_ERROR", "Грешка при инсталирането"},
    {"IDS_ERROR_NOSOURCE", "Файлът на инсталационния пакет mivo.efd не е намерен."},
    {"IDS_ERROR_NOTARGET", "Инсталирането в текущата директория с шаблони не се поддържа."},
    {"IDS_ERROR_NOSPACE", "Няма достатъчно място в директорията Temp."},
    {"IDS_CHOOSEDIR_FOLDER", "&Папка:"},
    {"IDS_CHOOSEDIR_TITLE", "Избор на директория"},
    {"IDR_MAINFRAME", "Инсталиране на конфигурация"},
    {"IDS_SETUP_EMPTYTARGET", "Посочете правилен път до директорията с шаблони."},
    {"IDS_INSTALL_FINISH", "Завършване на копирането..."},
    {"IDS_ERROR_DAMAGEDSOURCE", "Файлът на инсталационния пакет mivo.efd е повреден или не е предназначен за тази инсталационна програма."},
    {"IDS_DEFPRODUCT", "<Продукт>"},
    {"IDS_DEFPROVIDER", "<Доставчик>"},
    {"IDS_SUCCESS_FINISH", "Конфигурацията е инсталирана успешно."},
    {"IDS_SUCCESS_OPENDESCR", "Отваряне на описанието на дистрибуционния пакет"},
    {"IDS_PROGRESS_START", "Файловете се копират..."},
    {"IDS_ERROR_FINISH", "По време на инсталирането възникна грешка. Инсталирането е прекъснато. Директорията с шаблони не е променена."},
    {"IDS_CANCEL_FINISH", "Инсталирането е отменено. Директорията с шаблони не е променена."},
    {"IDS_BROWSE_SELDIR", "Избрана директория:"},
    {"IDS_BROWSE_OK", "Избор"},
    {"IDS_BROWSE_CANCEL", "Отказ"},
    {"IDS_WELCOME_TITLE", "Добре долшли в инсталационната програма на продукта"},  // exact, spelling included
    {"IDS_SETUP_EXISTEDTARGET", "Инсталационната директория съдържа файлове, които може да бъдат променени по време на инсталирането. Да се продължи ли инсталирането?"},
    {"IDS_DESTINATION_PROMPT", "Посочете пътя до директорията с шаблони. Инсталационната програма ще инсталира шаблоните и конфигурационните файлове в посочената директория."},
    {"IDS_TEMPLATE_CATALOG", "Директория с шаблони:"},
};
static_assert(std::size(kBg) == kMessageCount, "bg: every language has every key");

// Georgian (ka, 9). Rows marked "exact" are fixed; do not "correct" them.
constexpr MessageText kKa[] = {
    {"IDS_WIZARD_BACK", "< უკან"},  // exact
    {"IDS_WIZARD_NEXT", "შემდეგ>"},  // exact: no blank before ">"
    {"IDS_WIZARD_FINISH", "დასრულება"},
    {"IDS_WIZARD_CANCEL", "გაუქმება"},
    {"IDS_ACCEPT_CANCEL", "ნამდვილად გსურთ დაყენების გაუქმება?"},
    {"IDS_TITLE_INSTALLER", "კონფიგურაციის დაყენება"},
    {"IDS_PREPARECOPY", "კოპირებისთვის მომზადება..."},
    {"IDS_INSTALL_ERROR", "დაყენების შეცდომა"},
    {"IDS_ERROR_NOSOURCE", "დაყენების კომპლექტის ფაილი mivo.efd ვერ მოიძებნა."},
    {"IDS_ERROR_NOTARGET", "შაბლონების მიმდინარე კატალოგში დაყენება მხარდაჭერილი არ არის."},
    {"IDS_ERROR_NOSPACE", "Temp კატალოგში საკმარისი ადგილი არ არის."},
    {"IDS_CHOOSEDIR_FOLDER", "&საქაღალდე:"},
    {"IDS_CHOOSEDIR_TITLE", "კატალოგის არჩევა"},
    {"IDR_MAINFRAME", "კონფიგურაციის დაყენება"},
    {"IDS_SETUP_EMPTYTARGET", "მიუთითეთ შაბლონების კატალოგის სწორი გზა."},
    {"IDS_INSTALL_FINISH", "კოპირების დასრულება..."},
    {"IDS_ERROR_DAMAGEDSOURCE", "დაყენების კომპლექტის ფაილი mivo.efd დაზიანებულია ან არ არის განკუთვნილი ამ დაყენების პროგრამისთვის."},
    {"IDS_DEFPRODUCT", "<პროდუქტი>"},
    {"IDS_DEFPROVIDER", "<მომწოდებელი>"},
    {"IDS_SUCCESS_FINISH", "კონფიგურაცია წარმატებით დაყენდა."},
    {"IDS_SUCCESS_OPENDESCR", "სადისტრიბუციო პაკეტის აღწერის გახსნა"},
    {"IDS_PROGRESS_START", "მიმდინარეობს ფაილების კოპირება..."},
    {"IDS_ERROR_FINISH", "დაყენებისას მოხდა შეცდომა. დაყენება შეწყდა. შაბლონების კატალოგი არ შეცვლილა."},
    {"IDS_CANCEL_FINISH", "დაყენება გაუქმდა. შაბლონების კატალოგი არ შეცვლილა."},
    {"IDS_BROWSE_SELDIR", "არჩეული კატალოგი:"},
    {"IDS_BROWSE_OK", "არჩევა"},
    {"IDS_BROWSE_CANCEL", "გაუქმება"},
    {"IDS_WELCOME_TITLE", "კეთილი იყოს თქვენი მობრძანება პროდუქტის დაყენების პროგრამაში"},  // exact
    {"IDS_SETUP_EXISTEDTARGET", "დაყენების კატალოგი შეიცავს ფაილებს, რომლებიც შეიძლება შეიცვალოს დაყენებისას. გავაგრძელოთ დაყენება?"},
    {"IDS_DESTINATION_PROMPT", "მიუთითეთ შაბლონების კატალოგის გზა. დაყენების პროგრამა დააყენებს შაბლონებს და კონფიგურაციის ფაილებს მითითებულ კატალოგში."},
    {"IDS_TEMPLATE_CATALOG", "შაბლონების კატალოგი:"},
};
static_assert(std::size(kKa) == kMessageCount, "ka: every language has every key");

// Kazakh (kk, 10). Rows marked "exact" are fixed; do not "correct" them.
constexpr MessageText kKk[] = {
    {"IDS_WIZARD_BACK", "< Артқа"},  // exact
    {"IDS_WIZARD_NEXT", "Әрі қарай >"},  // exact
    {"IDS_WIZARD_FINISH", "Аяқтау"},
    {"IDS_WIZARD_CANCEL", "Доғар"},  // exact
    {"IDS_ACCEPT_CANCEL", "Орнатуды шынымен доғарғыңыз келе ме?"},
    {"IDS_TITLE_INSTALLER", "Конфигурацияны орнату"},
    {"IDS_PREPARECOPY", "Көшіруге дайындық..."},
    {"IDS_INSTALL_ERROR", "Орнату кезіндегі қате"},
    {"IDS_ERROR_NOSOURCE", "mivo.efd орнату жинағының файлы табылмады."},
    {"IDS_ERROR_NOTARGET", "Ағымдағы үлгілер каталогына орнатуға қолдау көрсетілмейді."},
    {"IDS_ERROR_NOSPACE", "Temp каталогында орын жеткіліксіз."},
    {"IDS_CHOOSEDIR_FOLDER", "&Қалта:"},
    {"IDS_CHOOSEDIR_TITLE", "Каталогты таңдау"},
    {"IDR_MAINFRAME", "Конфигурацияны орнату"},
    {"IDS_SETUP_EMPTYTARGET", "Үлгілер каталогына дұрыс жолды көрсетіңіз."},
    {"IDS_INSTALL_FINISH", "Көшіруді аяқтау..."},
    {"IDS_ERROR_DAMAGEDSOURCE", "mivo.efd орнату жинағының файлы зақымдалған немесе осы орнату программасына арналмаған."},
    {"IDS_DEFPRODUCT", "<Өнім>"},
    {"IDS_DEFPROVIDER", "<Жеткізуші>"},
    {"IDS_SUCCESS_FINISH", "Конфигурация сәтті орнатылды."},
    {"IDS_SUCCESS_OPENDESCR", "Жеткізілім сипаттамасын ашу"},
    {"IDS_PROGRESS_START", "Файлдар көшірілуде..."},
    {"IDS_ERROR_FINISH", "Орнату барысында қате орын алды. Орнату тоқтатылды. Үлгілер каталогы өзгертілмеді."},
    {"IDS_CANCEL_FINISH", "Орнату доғарылды. Үлгілер каталогы өзгертілмеді."},
    {"IDS_BROWSE_SELDIR", "Таңдалған каталог:"},
    {"IDS_BROWSE_OK", "Таңдау"},
    {"IDS_BROWSE_CANCEL", "Доғар"},  // exact
    {"IDS_WELCOME_TITLE", "Өнімді орнату программасына қош келдіңіз"},  // exact
    {"IDS_SETUP_EXISTEDTARGET", "Орнату каталогында орнату барысында өзгертілуі мүмкін файлдар бар. Орнатуды жалғастырасыз ба?"},
    {"IDS_DESTINATION_PROMPT", "Үлгілер каталогына жолды көрсетіңіз. Орнату программасы үлгілер мен конфигурация файлдарын көрсетілген каталогқа орнатады."},
    {"IDS_TEMPLATE_CATALOG", "Үлгілер каталогы:"},
};
static_assert(std::size(kKk) == kMessageCount, "kk: every language has every key");

// Vietnamese (vi, 11). Rows marked "exact" are fixed; do not "correct" them.
constexpr MessageText kVi[] = {
    {"IDS_WIZARD_BACK", "< Quay lại"},  // exact
    {"IDS_WIZARD_NEXT", "Tiếp theo >"},  // exact
    {"IDS_WIZARD_FINISH", "Đồng ý"},  // exact
    {"IDS_WIZARD_CANCEL", "Hủy"},
    {"IDS_ACCEPT_CANCEL", "Bạn có thực sự muốn hủy cài đặt không?"},
    {"IDS_TITLE_INSTALLER", "Cài đặt cấu hình"},
    {"IDS_PREPARECOPY", "Đang chuẩn bị sao chép..."},
    {"IDS_INSTALL_ERROR", "Lỗi cài đặt"},
    {"IDS_ERROR_NOSOURCE", "Không tìm thấy tệp bộ cài đặt mivo.efd."},
    {"IDS_ERROR_NOTARGET", "Không hỗ trợ cài đặt vào thư mục mẫu hiện tại."},
    {"IDS_ERROR_NOSPACE", "Không đủ dung lượng trong thư mục Temp."},
    {"IDS_CHOOSEDIR_FOLDER", "&Thư mục:"},
    {"IDS_CHOOSEDIR_TITLE", "Chọn thư mục"},
    {"IDR_MAINFRAME", "Cài đặt cấu hình"},
    {"IDS_SETUP_EMPTYTARGET", "Vui lòng chỉ định đường dẫn hợp lệ đến thư mục mẫu."},
    {"IDS_INSTALL_FINISH", "Đang hoàn tất sao chép..."},
    {"IDS_ERROR_DAMAGEDSOURCE", "Tệp bộ cài đặt mivo.efd bị hỏng hoặc không dành cho chương trình cài đặt này."},
    {"IDS_DEFPRODUCT", "<Sản phẩm>"},
    {"IDS_DEFPROVIDER", "<Nhà cung cấp>"},
    {"IDS_SUCCESS_FINISH", "Cấu hình đã được cài đặt thành công."},
    {"IDS_SUCCESS_OPENDESCR", "Mở mô tả gói phân phối"},
    {"IDS_PROGRESS_START", "Đang sao chép tệp..."},
    {"IDS_ERROR_FINISH", "Đã xảy ra lỗi trong quá trình cài đặt. Quá trình cài đặt đã bị gián đoạn. Thư mục mẫu không thay đổi."},
    {"IDS_CANCEL_FINISH", "Đã hủy cài đặt. Thư mục mẫu không thay đổi."},
    {"IDS_BROWSE_SELDIR", "Thư mục đã chọn:"},
    {"IDS_BROWSE_OK", "Chọn"},
    {"IDS_BROWSE_CANCEL", "Hủy"},
    {"IDS_WELCOME_TITLE", "Chào mừng Bạn đến với chương trình cài đặt sản phẩm"},  // exact
    {"IDS_SETUP_EXISTEDTARGET", "Thư mục cài đặt chứa các tệp có thể bị thay đổi trong quá trình cài đặt. Bạn có muốn tiếp tục cài đặt không?"},
    {"IDS_DESTINATION_PROMPT", "Vui lòng chỉ định đường dẫn đến thư mục mẫu. Chương trình cài đặt sẽ cài đặt các mẫu và tệp cấu hình vào thư mục đã chỉ định."},
    {"IDS_TEMPLATE_CATALOG", "Thư mục mẫu:"},
};
static_assert(std::size(kVi) == kMessageCount, "vi: every language has every key");

// Turkish (tr, 12). Rows marked "exact" are fixed; do not "correct" them.
constexpr MessageText kTr[] = {
    {"IDS_WIZARD_BACK", "< Geri"},  // exact
    {"IDS_WIZARD_NEXT", "İleri >"},  // exact
    {"IDS_WIZARD_FINISH", "Tamam"},  // exact
    {"IDS_WIZARD_CANCEL", "İptal"},  // exact
    {"IDS_ACCEPT_CANCEL", "Kurulumu gerçekten iptal etmek istiyor musunuz?"},
    {"IDS_TITLE_INSTALLER", "Yapılandırma kurulumu"},
    {"IDS_PREPARECOPY", "Kopyalama için hazırlanıyor..."},
    {"IDS_INSTALL_ERROR", "Kurulum hatası"},
    {"IDS_ERROR_NOSOURCE", "Kurulum paketi dosyası mivo.efd bulunamadı."},
    {"IDS_ERROR_NOTARGET", "Şablonların mevcut dizine kurulması desteklenmiyor."},
    {"IDS_ERROR_NOSPACE", "Temp dizininde yeterli alan yok."},
    {"IDS_CHOOSEDIR_FOLDER", "&Klasör:"},
    {"IDS_CHOOSEDIR_TITLE", "Dizin seçimi"},
    {"IDR_MAINFRAME", "Yapılandırma kurulumu"},
    {"IDS_SETUP_EMPTYTARGET", "Şablon dizini için geçerli bir yol belirtin."},
    {"IDS_INSTALL_FINISH", "Kopyalama tamamlanıyor..."},
    {"IDS_ERROR_DAMAGEDSOURCE", "Kurulum paketi dosyası mivo.efd bozuk veya bu kurulum programı için tasarlanmamış."},
    {"IDS_DEFPRODUCT", "<Ürün>"},
    {"IDS_DEFPROVIDER", "<Tedarikçi>"},
    {"IDS_SUCCESS_FINISH", "Yapılandırma başarıyla kuruldu."},
    {"IDS_SUCCESS_OPENDESCR", "Dağıtım paketinin açıklamasını aç"},
    {"IDS_PROGRESS_START", "Dosyalar kopyalanıyor..."},
    {"IDS_ERROR_FINISH", "Kurulum sırasında bir hata oluştu. Kurulum durduruldu. Şablon dizini değiştirilmedi."},
    {"IDS_CANCEL_FINISH", "Kurulum iptal edildi. Şablon dizini değiştirilmedi."},
    {"IDS_BROWSE_SELDIR", "Seçilen dizin:"},
    {"IDS_BROWSE_OK", "Seç"},
    {"IDS_BROWSE_CANCEL", "İptal"},  // exact
    {"IDS_WELCOME_TITLE", "Ürün yükleme programına hoş geldiniz"},  // exact
    {"IDS_SETUP_EXISTEDTARGET", "Kurulum dizini, kurulum sırasında değiştirilebilecek dosyalar içeriyor. Kuruluma devam edilsin mi?"},
    {"IDS_DESTINATION_PROMPT", "Şablon dizininin yolunu belirtin. Kurulum programı, şablonları ve yapılandırma dosyalarını belirtilen dizine kuracaktır."},
    {"IDS_TEMPLATE_CATALOG", "Şablon dizini:"},
};
static_assert(std::size(kTr) == kMessageCount, "tr: every language has every key");

constexpr LanguageBlock kBlocks[] = {
    {1, "ru", kRu},
    {2, "uk", kUk},
    {3, "en", kEn},
    {4, "lv", kLv},
    {5, "lt", kLt},
    {8, "ro", kRo},
    {7, "de", kDe},
    {6, "bg", kBg},
    {9, "ka", kKa},
    {10, "kk", kKk},
    {11, "vi", kVi},
    {12, "tr", kTr},
};
static_assert(std::size(kBlocks) == kLanguageCount, "twelve languages");

}  // namespace

const LanguageBlock* LanguageBlocks() { return kBlocks; }

}  // namespace kitsetup
