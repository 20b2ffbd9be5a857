{ What a Pascal client meets beside the ordinary: named arguments, calls by the numbers in the type library, and the
  arrays, dates and errors of the language. Each failed expectation is a line; it leaves with 1 when there is one. }
program behaviour;

{$mode objfpc}{$H+}{$apptype console}

uses
  SysUtils, Variants, ComObj, LUMVEXLib_5_1_TLB;

var
  failures: Integer = 0;

procedure Expect(const what: string; const wanted, found: Variant);
begin
  if wanted = found then Exit;
  WriteLn(what, ': expected ', VarToStr(wanted), ', found ', VarToStr(found));
  Inc(failures);
end;

procedure NamedArguments;
var
  catalogue, model, project, speaker: OleVariant;
begin
  catalogue := CreateOleObject('Lumvex-Dev.Specifications');
  model := catalogue.Manufacturers.Add(sName := 'Acme').Models.Add(sName := 'Alpha');
  project := CreateOleObject('Lumvex-Dev.Project');
  project.Specifications := catalogue;
  project.SpeakerEQs.Add(sName := 'Left');
  speaker := project.SpeakerEQs.Add(pModel := model, sName := 'Left');
  Expect('speaker with named arguments', 'Acme/Alpha/Left', speaker.DisplayName);
  speaker := project.SpeakerEQs.FindName(pModel := model, sName := 'LEFT');
  Expect('the one for the model', 'Acme/Alpha/Left', speaker.DisplayName);
  speaker := project.SpeakerEQs.FindName('LEFT');
  Expect('the first by name', 'Unknown Spkr/Left', speaker.DisplayName);
end;

procedure CallsByNumber;
var
  data: IDataDisp;
  datum: IDatumDisp;
begin
  data := CoProject.Create.Data as IDataDisp;
  datum := data.Add('by number') as IDatumDisp;
  datum.SampleRate := 96000;
  Expect('count', 1, data.Count);
  Expect('item', 'by number', data.Item[1].Name);
  Expect('sample rate', 96000, data.Item[1].SampleRate);
end;

procedure Errors;
var
  project: IProject;
begin
  project := CoProject.Create;
  try
    project.SaveFile;
    Expect('saving nowhere', 'an error', 'none');
  except
    on error: EOleException do
    begin
      Expect('status', HResult($80040FA5), error.ErrorCode);
      Expect('source', 'Lumvex-Dev.Project.1', error.Source);
      Expect('text', 'There is no current file open to save to. Use "SaveAs\'' instead.', error.Message);
    end;
  end;
  try
    project.Data.Item[1];
    Expect('index out of range', 'an error', 'none');
  except
    on error: EOleSysError do Expect('status without a text', HResult($80070057), error.ErrorCode);
  end;
end;

procedure ArraysDatesAndNames;
var
  project: IProject;
  datum: IDatum;
  values, found: OleVariant;
  row, column: Integer;
  name: WideString;
  bytes: OleVariant;
begin
  project := CoProject.Create;
  datum := project.Data.Add('free');
  values := VarArrayCreate([1, 3, 1, 2], varSingle);
  for row := 1 to 3 do
    for column := 1 to 2 do values[row, column] := row + column / 4;
  datum.Data := values;
  found := datum.Data;
  Expect('type', varArray or varSingle, VarType(found));
  Expect('lower bounds kept', 2, VarArrayLowBound(found, 1) + VarArrayLowBound(found, 2));
  for row := 1 to 3 do
    for column := 1 to 2 do Expect('element', values[row, column], found[row, column]);
  project.SafeArrayType := LX_R8;
  found := datum.Data;
  Expect('type as doubles', varArray or varDouble, VarType(found));
  Expect('lower bounds as doubles', 0, VarArrayLowBound(found, 1) + VarArrayLowBound(found, 2));
  Expect('last element as a double', 3.5, found[2, 1]);
  datum.Data := Unassigned;
  Expect('data taken away', True, VarIsEmpty(datum.Data));

  bytes := VarArrayCreate([0, 255], varByte);
  for row := 0 to 255 do bytes[row] := row;
  project.WorkspaceData := bytes;
  found := project.WorkspaceData;
  Expect('type of bytes', varArray or varByte, VarType(found));
  Expect('last byte', 255, found[255]);

  datum.Timestamp := EncodeDate(2001, 2, 3) + EncodeTime(4, 5, 6, 0);
  Expect('timestamp', '2001-02-03 04:05:06', FormatDateTime('yyyy-mm-dd hh:nn:ss', datum.Timestamp));
  name := WideString(#$9CF3) + WideString(#$D83D) + WideString(#$DD0A);
  datum.Name := name;
  Expect('name beyond the code page', name, datum.Name);
end;

begin
  NamedArguments;
  CallsByNumber;
  Errors;
  ArraysDatesAndNames;
  Halt(Ord(failures > 0));
end.
