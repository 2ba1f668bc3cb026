<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>Alert</name>
    <message>
        <source>&amp;Do not show this message again</source>
        <translation>&amp;Diese Meldung nicht mehr anzeigen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
    </message>
</context>
<context>
    <name>Errors</name>
    <message>
        <source>Trash</source>
        <translation>Papierkorb</translation>
    </message>
    <message>
        <source>“%1” couldn’t be %2 because %3.</source>
        <translation>„%1“ konnte nicht %2 werden, weil %3.</translation>
    </message>
</context>
<context>
    <name>Explanations</name>
    <message>
        <source>It could not be moved with the administrator&apos;s right either.</source>
        <translation>Auch mit Administratorrechten konnte es nicht verschoben werden.</translation>
    </message>
    <message>
        <source>It takes an administrator&apos;s password to move it.</source>
        <translation>Zum Verschieben wird das Passwort eines Administrators benötigt.</translation>
    </message>
    <message>
        <source>The administrator&apos;s password was wrong.</source>
        <translation>Das Administratorpasswort war falsch.</translation>
    </message>
    <message>
        <source>The administrator&apos;s right was denied.</source>
        <translation>Die Administratorrechte wurden verweigert.</translation>
    </message>
    <message>
        <source>The administrator&apos;s right cannot be had on this machine.</source>
        <translation>Auf diesem Rechner sind keine Administratorrechte verfügbar.</translation>
    </message>
    <message>
        <source>The system has no memory left.</source>
        <translation>Das System hat keinen freien Arbeitsspeicher mehr.</translation>
    </message>
    <message>
        <source>The system cannot start another thread.</source>
        <translation>Das System kann keinen weiteren Thread starten.</translation>
    </message>
</context>
<context>
    <name>Lists</name>
    <message>
        <source>Items to Remove</source>
        <translation>Zu entfernende Objekte</translation>
    </message>
    <message>
        <source>Nothing of the suite was found.</source>
        <translation>Von der Suite wurde nichts gefunden.</translation>
    </message>
    <message>
        <source>Running programs, closed</source>
        <translation>Laufende Programme, die beendet werden</translation>
    </message>
    <message>
        <source>Moved to the Trash</source>
        <translation>Werden in den Papierkorb verschoben</translation>
    </message>
    <message>
        <source>Background jobs, stopped and deleted</source>
        <translation>Hintergrunddienste, die angehalten und gelöscht werden</translation>
    </message>
    <message>
        <source>%1, needs a password</source>
        <translation>%1, Passwort erforderlich</translation>
    </message>
    <message>
        <source>%1 item, %2. Nothing is removed before you press Uninstall.</source>
        <translation>%1 Objekt, %2. Es wird nichts entfernt, bevor Sie auf „Deinstallieren“ klicken.</translation>
    </message>
    <message>
        <source>%1 items, %2. Nothing is removed before you press Uninstall.</source>
        <translation>%1 Objekte, %2. Es wird nichts entfernt, bevor Sie auf „Deinstallieren“ klicken.</translation>
    </message>
    <message>
        <source>.</source>
        <extracomment>Between the whole number and the decimals of a size.</extracomment>
        <translation>,</translation>
    </message>
    <message>
        <source>Items Left in Place</source>
        <translation>Nicht entfernte Objekte</translation>
    </message>
    <message>
        <source>These items could not be removed. They are whole, where they were.</source>
        <translation>Diese Objekte konnten nicht entfernt werden. Sie liegen unversehrt an ihrem bisherigen Ort.</translation>
    </message>
    <message>
        <source>Put Back</source>
        <translation>Zurücklegen</translation>
    </message>
    <message>
        <source>Kelvane is back in its place.</source>
        <translation>Kelvane ist wieder an seinem Platz.</translation>
    </message>
    <message>
        <source>Not everything could be put back. What failed is where it was.</source>
        <translation>Es konnte nicht alles zurückgelegt werden. Der Rest ist noch dort, wo er war.</translation>
    </message>
    <message>
        <source>Back in their places</source>
        <translation>Wieder an ihrem Platz</translation>
    </message>
    <message>
        <source>Not everything could be put back: %1</source>
        <translation>Es konnte nicht alles zurückgelegt werden: %1</translation>
    </message>
    <message>
        <source>There is nothing to put back.</source>
        <translation>Es gibt nichts zurückzulegen.</translation>
    </message>
    <message>
        <source>Run Not Recorded</source>
        <translation>Deinstallation nicht aufgezeichnet</translation>
    </message>
    <message>
        <source>The items are in the Trash, but not all of them can be put back by this program: %1</source>
        <translation>Die Objekte liegen im Papierkorb, aber nicht alle können von diesem Programm zurückgelegt werden: %1</translation>
    </message>
    <message>
        <source>&amp;Copy</source>
        <translation>&amp;Kopieren</translation>
    </message>
    <message>
        <source>&amp;Try Again</source>
        <translation>&amp;Erneut versuchen</translation>
    </message>
    <message>
        <source>C&amp;lose</source>
        <translation>&amp;Schließen</translation>
    </message>
    <message>
        <source>Items</source>
        <translation>Objekte</translation>
    </message>
    <message>
        <source>Details</source>
        <translation>Details</translation>
    </message>
</context>
<context>
    <name>MainMenu</name>
    <message>
        <source>Uninstall Kelvane</source>
        <translation>Kelvane deinstallieren</translation>
    </message>
    <message>
        <source>Moves the Kelvane suite to the Trash</source>
        <translation>Verschiebt die Kelvane-Suite in den Papierkorb</translation>
    </message>
    <message>
        <source>Running Kelvane programs will be closed, and the applications of the suite moved to the Trash with their settings, caches and support files. Until you empty the Trash you can put everything back from there.</source>
        <translation>Laufende Kelvane-Programme werden beendet und die Programme der Suite mit ihren Einstellungen, Caches und Begleitdateien in den Papierkorb verschoben. Bis Sie den Papierkorb leeren, können Sie alles von dort zurücklegen.</translation>
    </message>
    <message>
        <source>Also remove items &amp;shared by all Quillfen products</source>
        <translation>Auch &amp;gemeinsame Objekte von Quillfen entfernen</translation>
    </message>
    <message>
        <source>The software updater, the application launcher, the shared resources and the global preferences.</source>
        <translation>Die Softwareaktualisierung, der Programmstarter, die gemeinsamen Ressourcen und die globalen Einstellungen.</translation>
    </message>
    <message>
        <source>&amp;Put Back…</source>
        <translation>&amp;Zurücklegen&#xa0;…</translation>
    </message>
    <message>
        <source>Puts back what the last uninstall took away</source>
        <translation>Legt zurück, was die letzte Deinstallation entfernt hat</translation>
    </message>
    <message>
        <source>Show &amp;Items…</source>
        <translation>&amp;Objekte anzeigen&#xa0;…</translation>
    </message>
    <message>
        <source>Lists what would be removed, and changes nothing</source>
        <translation>Listet auf, was entfernt würde, und ändert nichts</translation>
    </message>
    <message>
        <source>&amp;Cancel</source>
        <translation>&amp;Abbrechen</translation>
    </message>
    <message>
        <source>Quits and removes nothing</source>
        <translation>Beendet das Programm und entfernt nichts</translation>
    </message>
    <message>
        <source>&amp;Uninstall</source>
        <translation>&amp;Deinstallieren</translation>
    </message>
    <message>
        <source>Uninstalling Kelvane</source>
        <translation>Kelvane wird deinstalliert</translation>
    </message>
    <message>
        <source>Moving Kelvane to the Trash…</source>
        <translation>Kelvane wird in den Papierkorb verschoben&#xa0;…</translation>
    </message>
    <message>
        <source>Moving Kelvane to the Trash</source>
        <translation>Kelvane wird in den Papierkorb verschoben</translation>
    </message>
    <message>
        <source>Putting Kelvane Back</source>
        <translation>Kelvane wird zurückgelegt</translation>
    </message>
    <message>
        <source>Putting Kelvane back in its place…</source>
        <translation>Kelvane wird an seinen Platz zurückgelegt&#xa0;…</translation>
    </message>
    <message>
        <source>Putting Kelvane back in its place</source>
        <translation>Kelvane wird an seinen Platz zurückgelegt</translation>
    </message>
    <message>
        <source>%1, %2 of %3</source>
        <translation>%1, %2 von %3</translation>
    </message>
</context>
<context>
    <name>Reasons</name>
    <message>
        <source>It was moved to the Trash, but there is an item at its path again.</source>
        <translation>Es wurde in den Papierkorb verschoben, aber an seinem bisherigen Ort liegt wieder ein Objekt.</translation>
    </message>
    <message>
        <source>It could not be removed.</source>
        <translation>Es konnte nicht entfernt werden.</translation>
    </message>
    <message>
        <source>Something else is in its place.</source>
        <translation>An seinem Platz liegt etwas anderes.</translation>
    </message>
    <message>
        <source>It is no longer in the Trash.</source>
        <translation>Es liegt nicht mehr im Papierkorb.</translation>
    </message>
    <message>
        <source>A link is in the way: %1</source>
        <translation>Eine Verknüpfung ist im Weg: %1</translation>
    </message>
    <message>
        <source>Its content could not be read before it was deleted.</source>
        <translation>Sein Inhalt konnte vor dem Löschen nicht gelesen werden.</translation>
    </message>
    <message>
        <source>The disk does not take the record.</source>
        <translation>Die Aufzeichnung lässt sich nicht auf den Datenträger schreiben.</translation>
    </message>
    <message>
        <source>The file of the record can’t be written.</source>
        <translation>Die Datei der Aufzeichnung kann nicht geschrieben werden.</translation>
    </message>
    <message>
        <source>An item could not be looked at before it was moved.</source>
        <translation>Ein Objekt konnte vor dem Verschieben nicht untersucht werden.</translation>
    </message>
    <message>
        <source>A background job&apos;s file could not be read.</source>
        <translation>Die Datei eines Hintergrunddienstes konnte nicht gelesen werden.</translation>
    </message>
    <message>
        <source>The copy of it that was kept cannot be read.</source>
        <translation>Die Kopie, die davon aufbewahrt wurde, ist nicht lesbar.</translation>
    </message>
</context>
<context>
    <name>Records</name>
    <message>
        <source>it was edited</source>
        <translation>die Aufzeichnung wurde bearbeitet</translation>
    </message>
    <message>
        <source>it is cut short</source>
        <translation>die Aufzeichnung ist unvollständig</translation>
    </message>
    <message>
        <source>it says &quot;%1&quot;, which is no word of a record</source>
        <translation>die Aufzeichnung enthält „%1“, was kein Wort einer Aufzeichnung ist</translation>
    </message>
    <message>
        <source>it says &quot;%1&quot;, which is no row of the plan</source>
        <translation>die Aufzeichnung enthält „%1“, was im Plan nicht vorkommt</translation>
    </message>
    <message>
        <source>%1 is not in the plan</source>
        <translation>%1 kommt im Plan nicht vor</translation>
    </message>
    <message>
        <source>it is not the beginning of a record</source>
        <translation>die Zeile ist nicht der Anfang einer Aufzeichnung</translation>
    </message>
    <message>
        <source>it is the beginning of another record</source>
        <translation>die Zeile ist der Anfang einer anderen Aufzeichnung</translation>
    </message>
    <message>
        <source>another version of the program wrote it</source>
        <translation>eine andere Version des Programms hat die Aufzeichnung geschrieben</translation>
    </message>
    <message>
        <source>it ends a step that did not begin</source>
        <translation>die Aufzeichnung beendet einen Schritt, der nicht begonnen hat</translation>
    </message>
    <message>
        <source>line %1: %2</source>
        <translation>Zeile %1: %2</translation>
    </message>
    <message>
        <source>something is missing from it</source>
        <translation>ein Teil der Aufzeichnung fehlt</translation>
    </message>
    <message>
        <source>the records in %1 cannot be read</source>
        <translation>die Aufzeichnungen in %1 können nicht gelesen werden</translation>
    </message>
    <message>
        <source>there is no record %1 that can be read</source>
        <translation>es gibt keine lesbare Aufzeichnung %1</translation>
    </message>
</context>
<context>
    <name>because</name>
    <message>
        <source>the Trash is inside it</source>
        <translation>der Papierkorb darin liegt</translation>
    </message>
    <message>
        <source>the Trash is a link that leads elsewhere</source>
        <translation>der Papierkorb eine Verknüpfung ist, die an einen anderen Ort führt</translation>
    </message>
    <message>
        <source>the Trash is a file</source>
        <translation>der Papierkorb eine Datei ist</translation>
    </message>
    <message>
        <source>it is the Trash itself</source>
        <translation>es der Papierkorb selbst ist</translation>
    </message>
    <message>
        <source>a volume is mounted inside it</source>
        <translation>ein Datenträger darin eingehängt ist</translation>
    </message>
    <message>
        <source>the Trash can’t be used: %1</source>
        <translation>der Papierkorb nicht verwendet werden kann, da %1</translation>
    </message>
    <message>
        <source>it can’t be put inside itself</source>
        <translation>es nicht in sich selbst abgelegt werden kann</translation>
    </message>
    <message>
        <source>the folder “%1” doesn’t exist</source>
        <translation>der Ordner „%1“ nicht vorhanden ist</translation>
    </message>
    <message>
        <source>its folder doesn’t exist</source>
        <translation>sein Ordner nicht vorhanden ist</translation>
    </message>
    <message>
        <source>it would hold what a property list cannot express</source>
        <translation>es etwas enthielte, was eine Eigenschaftsliste nicht darstellen kann</translation>
    </message>
    <message>
        <source>you don’t have permission</source>
        <translation>Sie keine Berechtigung dafür haben</translation>
    </message>
    <message>
        <source>it doesn’t exist</source>
        <translation>es nicht vorhanden ist</translation>
    </message>
    <message>
        <source>an item with the same name already exists</source>
        <translation>bereits ein Objekt mit demselben Namen vorhanden ist</translation>
    </message>
    <message>
        <source>the folder isn’t empty</source>
        <translation>der Ordner nicht leer ist</translation>
    </message>
    <message>
        <source>a part of its path isn’t a folder</source>
        <translation>ein Teil seines Pfads kein Ordner ist</translation>
    </message>
    <message>
        <source>it is a folder</source>
        <translation>es ein Ordner ist</translation>
    </message>
    <message>
        <source>it is in use</source>
        <translation>es gerade verwendet wird</translation>
    </message>
    <message>
        <source>it is on another volume</source>
        <translation>es auf einem anderen Datenträger liegt</translation>
    </message>
    <message>
        <source>the volume is read-only</source>
        <translation>der Datenträger schreibgeschützt ist</translation>
    </message>
    <message>
        <source>the volume is full</source>
        <translation>der Datenträger voll ist</translation>
    </message>
    <message>
        <source>your share of the volume is used up</source>
        <translation>Ihr Kontingent auf dem Datenträger erschöpft ist</translation>
    </message>
    <message>
        <source>it is too large</source>
        <translation>es zu groß ist</translation>
    </message>
    <message>
        <source>its name is too long</source>
        <translation>sein Name zu lang ist</translation>
    </message>
    <message>
        <source>the volume doesn’t allow its name</source>
        <translation>der Datenträger seinen Namen nicht zulässt</translation>
    </message>
    <message>
        <source>the volume doesn’t tell its name from another one</source>
        <translation>der Datenträger seinen Namen nicht von einem anderen unterscheidet</translation>
    </message>
    <message>
        <source>the volume can’t hold its attributes</source>
        <translation>der Datenträger seine Attribute nicht aufnehmen kann</translation>
    </message>
    <message>
        <source>its path leads through too many links</source>
        <translation>sein Pfad über zu viele Verknüpfungen führt</translation>
    </message>
    <message>
        <source>the volume doesn’t support it</source>
        <translation>der Datenträger es nicht unterstützt</translation>
    </message>
    <message>
        <source>the system doesn’t allow it</source>
        <translation>das System es nicht zulässt</translation>
    </message>
    <message>
        <source>another program has moved it</source>
        <translation>ein anderes Programm es verschoben hat</translation>
    </message>
    <message>
        <source>another program is changing it</source>
        <translation>ein anderes Programm es gerade ändert</translation>
    </message>
    <message>
        <source>the volume reports a fault</source>
        <translation>der Datenträger einen Fehler meldet</translation>
    </message>
    <message>
        <source>too many files are open</source>
        <translation>zu viele Dateien geöffnet sind</translation>
    </message>
    <message>
        <source>the system has no memory left</source>
        <translation>das System keinen freien Arbeitsspeicher mehr hat</translation>
    </message>
    <message>
        <source>the system reports: %1</source>
        <translation>das System meldet: %1</translation>
    </message>
    <message>
        <source>it can’t be determined whether a volume is mounted inside it: %1</source>
        <translation>nicht festgestellt werden kann, ob ein Datenträger darin eingehängt ist: %1</translation>
    </message>
</context>
<context>
    <name>participle</name>
    <message>
        <source>changed</source>
        <translation>geändert</translation>
    </message>
    <message>
        <source>copied</source>
        <translation>kopiert</translation>
    </message>
    <message>
        <source>created</source>
        <translation>erstellt</translation>
    </message>
    <message>
        <source>labelled</source>
        <translation>gekennzeichnet</translation>
    </message>
    <message>
        <source>locked</source>
        <translation>gesperrt</translation>
    </message>
    <message>
        <source>moved</source>
        <translation>verschoben</translation>
    </message>
    <message>
        <source>moved to the Trash</source>
        <translation>in den Papierkorb verschoben</translation>
    </message>
    <message>
        <source>opened</source>
        <translation>geöffnet</translation>
    </message>
    <message>
        <source>put back</source>
        <translation>zurückgelegt</translation>
    </message>
    <message>
        <source>read</source>
        <translation>gelesen</translation>
    </message>
    <message>
        <source>removed</source>
        <translation>entfernt</translation>
    </message>
    <message>
        <source>saved</source>
        <translation>gespeichert</translation>
    </message>
    <message>
        <source>unlocked</source>
        <translation>entsperrt</translation>
    </message>
    <message>
        <source>written to</source>
        <translation>beschrieben</translation>
    </message>
    <message>
        <source>deleted</source>
        <translation>gelöscht</translation>
    </message>
</context>
</TS>
